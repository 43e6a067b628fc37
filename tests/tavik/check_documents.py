#!/usr/bin/env python3
"""Holds JSON documents against the schemas of docs/schemas.

Usage: check_documents.py SCHEMA_FOLDER FILE... - each file is named VERB.NUMBER.json. Names each
fault and exits with 1 if there is one.
"""
import json
import pathlib
import sys

import jsonschema


def main() -> int:
    schemas = pathlib.Path(sys.argv[1]).resolve()
    faults = []
    for file in map(pathlib.Path, sys.argv[2:]):
        schema = json.loads((schemas / f"{file.name.split('.')[0]}.json").read_text())
        resolver = jsonschema.RefResolver(base_uri=schemas.as_uri() + "/", referrer=schema)
        validator = jsonschema.Draft7Validator(schema, resolver=resolver)
        document = json.loads(file.read_text(encoding="utf-8"))
        faults += [f"{file.name}: {error.json_path}: {error.message}"
                   for error in validator.iter_errors(document)]
    print("\n".join(faults))
    return 1 if faults else 0


sys.exit(main())
