"""What a case of the corpus is, and the package that most cases change in one place."""

import json

from archive import Entry, archive

CONTENT = b"some content, some content, some content"


class Case:
    """`status`: None for a package that is to be installed, else the name of the status with which
    it is refused. `check`: whether qpk check finds nothing either; it is stricter."""

    def __init__(self, name, data, status=None, reason="", check=None):
        self.name, self.data, self.status, self.reason = name, data, status, reason
        self.is_clean = status is None if check is None else check


def manifest(**members):
    """extension.json with these members changed; None leaves one out."""
    whole = {"formatVersion": 1, "id": "com.example.a", "name": "Example", "version": "1.0",
             "products": [{"name": "sketch"}], **members}
    return json.dumps({key: value for key, value in whole.items() if value is not None})


def package(*entries, text=None, **more):
    return archive([Entry("extension.json", text or manifest()), *entries], **more)


def good_entry():
    return Entry("a.txt", CONTENT)
