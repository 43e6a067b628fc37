#include <LibTavikCoreLib.h>

int TavikTerminate(void) {
    return 0;
}
