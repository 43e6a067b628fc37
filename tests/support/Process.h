#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tavik::testing {

/// How a finished program went.
struct Result {
    int exitCode = -1;  ///< 128 plus the signal's number where a signal ended it
    std::string out;    ///< all of its standard output
    std::string err;    ///< all of its standard error
};

using Environment = std::map<std::string, std::string>;

/// Long enough for a machine under load.
constexpr std::chrono::seconds kUsualLimit{60};

/// A program that runs beside the test; killed with its destructor. Its environment is exactly
/// `environment` plus PATH and what sanitizers read. Standard input is /dev/null.
class Process {
  public:
    Process(const std::vector<std::string>& command, const Environment& environment);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    void kill(int signal) const;

    /// The next line of the standard output, waited for, without its line end; "" at the end.
    /// Throws where none comes within the usual limit. Result::out begins after the lines read.
    std::string line();

    /// Waits for the end; a program that takes longer than the limit is killed and throws.
    Result wait(std::chrono::seconds limit = kUsualLimit);

  private:
    pid_t pid_ = -1;
    int out_ = -1;
    int err_ = -1;
};

/// Runs a program to its end.
Result run(const std::vector<std::string>& command, const Environment& environment = {});

/// A program that the build made, e.g. "TavikCmd".
std::string program(const std::string& name);

/// A folder or file of the source tree, e.g. "samples".
std::string source(const std::string& name);

}  // namespace tavik::testing
