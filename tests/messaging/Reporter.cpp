// Reports results as the tool does: each five arguments are one result.
#include <cstdlib>

#include "reporting/TavikZephal.h"

int main(int argc, char** argv) {
    for (int i = 1; i + 4 < argc; i += 5)
        NORVA_TAVIK::CTavikZephal::getInstance().sendZephalMessageToBrixa(
            std::atoi(argv[i]), argv[i + 1], argv[i + 2], argv[i + 3], argv[i + 4]);
}
