#include "Output.h"

#include <iostream>

void printLine(const std::string& text) {
    std::cout << text << std::endl;
}

int printFailure(const std::string& text, int status) {
    std::cout << text << status << "!" << std::endl;
    return status;
}

Rows::~Rows() {
    std::cout.flush();
}

void Rows::print(std::string_view lines) {
    std::cout << lines;
}
