#include "Output.h"

#include <iostream>

namespace {

constexpr std::size_t kWriteSize = 65536;

void write(std::string& text) {
    std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
    text.clear();
}

}  // namespace

void printLine(const std::string& text) {
    std::cout << text << std::endl;
}

int printFailure(const std::string& text, int status) {
    std::cout << text << status << "!" << std::endl;
    return status;
}

RowBuffer& RowBuffer::operator<<(std::string_view text) {
    pending += text;
    if (pending.size() >= kWriteSize)
        write(pending);
    return *this;
}

int RowBuffer::failure(const std::string& text, int status) {
    flush();
    return printFailure(text, status);
}

void RowBuffer::flush() {
    write(pending);
    std::cout.flush();
}
