#include <filesystem>
#include <iostream>
#include <string>

#include "tests/support/FeedServer.h"
#include "tests/support/TemporaryFolder.h"

/// Usage: feed_server FOLDER MILLISECONDS. Serves the folder's files on loopback, each answer after
/// that delay; prints the address, and on each line of standard input the number of bodies that it
/// has sent; ends with its input.
int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    tavik::testing::FeedServer server;
    for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
        tavik::testing::ServerAnswer answer{tavik::testing::readFile(file.path())};
        answer.etag = "\"1\"";
        answer.delay = std::chrono::milliseconds(std::stoi(argv[2]));
        const std::string path = "/" + file.path().filename().string();
        server.serve(path, answer);
        answer.status = 404;
        answer.body = "not found";
        server.serve(path + ".sig", answer);
    }
    std::cout << server.address("") << std::endl;
    for (std::string line; std::getline(std::cin, line);)
        std::cout << server.bodies() << std::endl;
}
