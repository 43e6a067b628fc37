#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>
#include <Poco/Logger.h>

#include "TavikCmd.h"

namespace {

// The framework's text for --launch as the last argument, without its locale.
constexpr const char* kLaunchWithoutLocale = "Missing option argument: launch requires <locale>";

int runTool(int argc, char** argv) {
    Poco::AutoPtr<CTavikCmd> application(new CTavikCmd);
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
    // An exception that nothing catches ends the process without unwinding the stack, and so
    // without releasing the application, which ends the core. A handler that only throws on makes
    // the stack of runTool unwind first; the process then ends as abnormally as without it.
    try {
        return runTool(argc, argv);
    } catch (...) {
        throw;
    }
}
