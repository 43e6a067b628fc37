#include "tests/tavik/Front.h"

#include <filesystem>

namespace tavik::testing {

void Front::TearDown() {
    if (documents_.empty())
        return;
    std::vector<std::string> command{"python3", source("tests/tavik/check_documents.py"),
                                     source("docs/schemas")};
    command.insert(command.end(), documents_.begin(), documents_.end());
    const Result result = run(command);
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
}

Result Front::tavik(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), program("tavik"));
    return run(arguments, machine_.environment());
}

std::string Front::out(int exitStatus, const std::vector<std::string>& arguments) const {
    const Result result = tavik(arguments);
    EXPECT_EQ(result.exitCode, exitStatus) << result.out << result.err;
    return result.out;
}

std::string Front::err(int exitStatus, const std::vector<std::string>& arguments) const {
    const Result result = tavik(arguments);
    EXPECT_EQ(result.exitCode, exitStatus) << result.out << result.err;
    EXPECT_EQ(result.out, "");
    return result.err;
}

JsonDocument Front::json(int exitStatus, std::vector<std::string> arguments) {
    const std::string verb = arguments.front();
    arguments.insert(arguments.begin() + 1, "--json");
    return document(verb, out(exitStatus, arguments));
}

JsonDocument Front::document(const std::string& verb, const std::string& text) {
    documents_.push_back(
        machine_.path("documents/" + verb + "." + std::to_string(documents_.size()) + ".json"));
    writeFile(documents_.back(), text);
    return parseJson(text);
}

void Front::publish(const std::vector<PackageBuilder>& packages) {
    const std::string site = machine_.path("site");
    std::filesystem::remove_all(site);
    int number = 0;
    for (const auto& package : packages)
        package.write(site + "/" + std::to_string(number++) + ".qpk");
    const std::string serial = std::to_string(++serial_);
    ASSERT_EQ(run({program("qpk"), "feed", site, "--serial", serial}).exitCode, 0);
    machine_.addProduct("sketch", "Sketch Pro", "17.2",
                        R"(, "updateFeed": "file://)" + site + R"(/feed.json")");
}

std::vector<std::string> Front::listed() {
    const auto document = json(kDone, {"list"});
    std::vector<std::string> rows;
    for (const auto& each : document["extensions"].GetArray())
        rows.push_back(text(each, "id") + " " + text(each, "version") + " " + text(each, "state") +
                       " " + text(each, "scope"));
    return rows;
}

std::string text(const JsonValue& object, const char* member) {
    const JsonValue& value = object[member];
    return value.IsNull() ? "-" : value.GetString();
}

std::vector<std::string> changes(const JsonDocument& document) {
    std::vector<std::string> rows;
    for (const auto& each : document["changes"].GetArray())
        rows.push_back(text(each, "operation") + " " + text(each, "id") + " " + text(each, "from") +
                       " " + text(each, "to") + " " + text(each, "scope"));
    return rows;
}

std::vector<std::string> failures(const JsonDocument& document) {
    std::vector<std::string> rows;
    for (const auto& each : document["failures"].GetArray())
        rows.push_back(text(each, "name") + " " + text(each, "subject"));
    return rows;
}

}  // namespace tavik::testing
