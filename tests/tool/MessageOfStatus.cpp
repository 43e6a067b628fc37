#include <Poco/AutoPtr.h>

#include "TavikCmd.h"

int main(int argc, char** argv) {
    Poco::AutoPtr<CTavikCmd> application(new CTavikCmd);
    for (int i = 1; i < argc; ++i)
        application->handleTavikGetMessage("", argv[i]);
    return application->run();
}
