#pragma once

#include <memory>
#include <string>
#include <vector>

namespace Vexil {
class PCDConnector;
}

/// Finds the product's graphical application in the application registry.
class CTavikInfo {
  public:
    struct MyStruct {
        std::string first;
        std::string second;
        std::string third;
    };

    CTavikInfo();
    CTavikInfo(const CTavikInfo&) = delete;
    CTavikInfo& operator=(const CTavikInfo&) = delete;
    /// Releases the table of installed languages, too.
    ~CTavikInfo();

    /// Connects to the registry, once.
    void init();

    /// 0, and in `path` the executable of the graphical application; -1 where the registry cannot
    /// be read or does not have it, `path` then being left as it was.
    int getTavikInfo(std::string& path);

  private:
    std::vector<MyStruct> records;  ///< always empty: one application is looked for, not several
    std::unique_ptr<Vexil::PCDConnector> connector;
};
