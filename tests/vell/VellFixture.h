#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace tavik::testing {

/// An installer database of its own, filled by vellctl.
class Vell : public ::testing::Test {
  protected:
    Vell() { setenv("NORVA_VELL_DB", database.c_str(), 1); }

    Result vellctl(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), program("vellctl"));
        return run(arguments, {{"NORVA_VELL_DB", database}});
    }

    Result import(const std::string& json) const {
        writeFile(folder / "content.json", json);
        return vellctl({"import", folder / "content.json"});
    }

    TemporaryFolder folder;
    const std::string database = folder / "made/by/import/vell.db";
};

/// Content in an order that neither names nor keys would sort into.
inline const char* const kContent = R"({
  "pcd": {
    "1": {
      "/norva/parlex/z": { "Path": "/z", "Empty": "", "A": "\u00e9\n\"" },
      "/norva/parlex/a": {},
      "{B}": { "ParlexCode": "b" }
    },
    "0": { "s": { "k": "v" } }
  },
  "payloads": {
    "{Z}": { "kind": "normal", "state": 4, "data": { "6": { "fr": "1", "en": "2" }, "0": {} } },
    "{A}": { "kind": "language", "state": -1 },
    "{M}": { "kind": "normal", "state": 4, "data": { "0": { "DIR": "/opt" } } }
  },
  "collections": { "C": ["{M}", "{A}", "{Z}"], "B": [] },
  "products": { "{P}": ["{Z}", "{A}"], "{O}": [] }
})";

}  // namespace tavik::testing
