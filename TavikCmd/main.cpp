#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <system_error>

#include "TavikCmd.h"

namespace {

// The framework's text for --launch as the last argument, without its locale.
constexpr const char* kLaunchWithoutLocale = "Missing option argument: launch requires <locale>";

/// Where the program was started without standard output or error, the next file that is opened
/// would take the number, and the tool's texts. A folder takes it first: nothing can be written to
/// it.
void reserveStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number)
        if (fcntl(number, F_GETFD) < 0 && errno == EBADF)
            static_cast<void>(open("/", O_RDONLY | O_DIRECTORY));
}

/// Lets a listing go into a pipe or a file in large writes; a terminal still shows line by line.
void enlargeOutputBuffer() {
    static char buffer[65536];
    if (isatty(STDOUT_FILENO) == 0)
        static_cast<void>(std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer));
}

void explainMissingWorkingDirectory() {
    std::error_code failure;
    if (std::filesystem::current_path(failure).empty() &&
        failure == std::errc::no_such_file_or_directory)
        std::cerr << "TavikCmd: working directory: it no longer exists; change to another "
                     "folder and run the command again"
                  << std::endl;
}

/// The framework notes the working directory as it starts and throws where there is none. That
/// ends the process; the line before its end says what the framework's own text does not.
CTavikCmd* makeApplication() {
    try {
        return new CTavikCmd;
    } catch (const Poco::Exception&) {
        explainMissingWorkingDirectory();
        throw;
    }
}

int runTool(int argc, char** argv) {
    Poco::AutoPtr<CTavikCmd> application(makeApplication());
    try {
        // Every command runs in here, at the moment its option is met.
        application->init(argc, argv);
        if (argc == 1)
            application->handleHelp("", "");
    } catch (const Poco::Exception& exception) {
        if (exception.displayText() == kLaunchWithoutLocale)
            application->handleLaunchTavikGUI("", "");
        else
            application->logger().log(exception);
    }
    return application->run();
}

}  // namespace

int main(int argc, char** argv) {
    reserveStandardDescriptors();
    enlargeOutputBuffer();
    // An exception that nobody catches ends the process without unwinding the stack. The
    // application would not be released, and the core not be ended. This handler makes the stack of
    // runTool unwind first, and then passes the exception on: the process still ends abnormally.
    try {
        return runTool(argc, argv);
    } catch (...) {
        throw;
    }
}
