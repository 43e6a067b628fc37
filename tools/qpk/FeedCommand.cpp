#include <unistd.h>

#include <array>
#include <charconv>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <list>

#include "platform/core/crypto/DetachedSignature.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/FeedFolder.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/OutputFile.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

const std::string kHelp =
    std::string(
        "usage: qpk feed FOLDER [--serial N] [--expires DATE] [--key KEY]\n\n"
        "Writes FOLDER/feed.json, which offers every package (*.qpk) in FOLDER for updates, and\n"
        "FOLDER/index.html, which shows people what is there. Put the folder on a web server as "
        "it\n"
        "is. All versions are offered; who reads the feed takes the newest that fits. A version\n"
        "that the last feed.json has as \"blocked\" stays blocked; all else is written anew, "
        "lists\n"
        "of mirrors too.\n\n"
        "  --serial N      the feed's number, which must grow from feed to feed; without it one\n"
        "                  more than that of the feed.json that is there, or 1\n"
        "  --expires DATE  until when the feed is valid, 2027-06-01 or 2027-06-01T12:00:00Z;\n"
        "                  without it a year from today\n"
        "  With --key, the feed is signed, into FOLDER/feed.json.sig.\n") +
    kKeyHelp;

constexpr std::int64_t kMaxSerial = std::int64_t{1} << 53;  // beyond it readers may round
constexpr std::time_t kDay = std::time_t{24} * 60 * 60;

std::int64_t parseSerial(const std::string& text) {
    std::int64_t serial = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, serial);
    if (error != std::errc() || stop != end || serial < 0 || serial > kMaxSerial)
        throw UsageError("--serial " + text + " is not a whole number from 0 to 2^53");
    return serial;
}

constexpr const char* kTimeForm = "%Y-%m-%dT%H:%M:%SZ";

std::string writeTime(std::time_t time) {
    std::tm fields{};
    ::gmtime_r(&time, &fields);
    std::array<char, sizeof "0000-00-00T00:00:00Z"> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), kTimeForm, &fields);
    return {text.data(), size};
}

std::time_t parseTime(const std::string& date) {
    const std::string text = date.find('T') == std::string::npos ? date + "T00:00:00Z" : date;
    std::tm fields{};
    const bool hasForm = ::strptime(text.c_str(), kTimeForm, &fields) != nullptr;
    const std::time_t time = hasForm ? ::timegm(&fields) : 0;
    // Spaces, missing digits and a 31st of June come back as another text.
    if (!hasForm || writeTime(time) != text)
        throw UsageError("--expires " + date + " is no date such as 2027-06-01");
    if (time <= std::time(nullptr))
        throw UsageError("--expires " + date + " is over");
    return time;
}

std::string expiryOf(const CommandLine& line) {
    const auto date = line.option("expires");
    return writeTime(date ? parseTime(*date) : (std::time(nullptr) / kDay + 365) * kDay);
}

std::int64_t serialOf(const CommandLine& line, const std::optional<Feed>& old) {
    const auto given = line.option("serial");
    if (!given)
        return old ? old->serial + 1 : 1;
    const std::int64_t serial = parseSerial(*given);
    if (old && serial <= old->serial)
        throw Failure("--serial " + *given,
                      "the feed has reached number " + std::to_string(old->serial),
                      "give a greater one: who has seen that number refuses lower ones");
    return serial;
}

/// Neither a feed that was signed nor a page of somebody's own is replaced by accident.
void requireReplaceable(const std::string& folder, bool isSigned) {
    const std::string signature = folder + "/" + kFeedName + std::string(kSignatureSuffix);
    if (!isSigned && fs::exists(signature))
        throw Failure(signature, "the feed was signed",
                      "give --key, or remove that file to publish the feed unsigned");
    const std::string page = folder + "/" + kPageName;
    const auto text = readWhole(page, kMaxFileBytes, FinalLink::followed);
    if (text && text->find(kPageMark) == std::string::npos)
        throw Failure(page, "it was not made by qpk feed", "move it away");
}

/// What lies in the folder gets published.
void requireElsewhere(const std::string& key, const std::string& folder) {
    const fs::path wayThere = fs::canonical(key).lexically_relative(fs::canonical(folder));
    if (*wayThere.begin() != "..")
        throw Failure(key, "the private key lies in the folder that is to be published",
                      "move it elsewhere");
}

FeedDocument makeFeed(const CommandLine& line, std::vector<Fault>& faults) {
    const std::string& folder = line.operand();
    const auto report = [&](const Fault& fault) { faults.push_back(fault); };
    FeedDocument feed;
    feed.packages = readPackages(folder, report);
    const std::optional<Feed> old = readOldFeed(folder);
    feed.serial = serialOf(line, old);
    feed.expires = expiryOf(line);
    if (old)
        compareWithOld(*old, feed, report);
    return feed;
}

/// Who signed the folder's feed so far; nobody where it is not to be told.
Signer formerSigner(const std::string& folder) {
    const std::string path = folder + "/" + kFeedName;
    const auto feed = readWhole(path, kMaxFileBytes, FinalLink::followed);
    const auto signature =
        readWhole(path + std::string(kSignatureSuffix), kMaxFileBytes, FinalLink::followed);
    if (!feed || !signature)
        return {};
    return {authorCrypto().findSigner(*feed, *signature).fingerprint, {}};
}

/// Says what readers of the earlier feed and packages will refuse.
void warnOfSigners(const std::string& folder, const FeedDocument& feed,
                   const std::optional<SigningKey>& key) {
    for (const std::string& warning : signerWarnings(feed.packages))
        std::cerr << "qpk: warning: " << warning << '\n';
    const Signer before = formerSigner(folder);
    if (!key || before.key.empty() || before.key == feed.signer)
        return;
    const Signer now{feed.signer,
                     keysSucceededBy(feed.signer, key->succession, {}, authorCrypto())};
    std::cerr << "qpk: warning: the feed was " << describe(before) << ", and is now "
              << describe(now)
              << (maySucceed(before.key, now) ? ", which takes its place"
                                              : "; who has seen the feed before will refuse it")
              << '\n';
}

void publish(const std::string& folder, const FeedDocument& feed, const std::string& text,
             const std::string& signature, const std::string& succession) {
    const std::string path = folder + "/" + kFeedName;
    OutputFile page(folder + "/" + kPageName, FinalLink::refused);
    page.write(writeFeedPage(feed));
    OutputFile json(path, FinalLink::refused);
    json.write(text);
    std::list<OutputFile> besides;
    const auto addFile = [&](std::string_view suffix, const std::string& content) {
        if (!content.empty())
            besides.emplace_back(path + std::string(suffix), FinalLink::refused).write(content);
    };
    addFile(kSuccessionSuffix, succession);
    addFile(kSignatureSuffix, signature);
    if (succession.empty())  // One that is there is about another key.
        ::unlink((path + std::string(kSuccessionSuffix)).c_str());
    // Everything is written: what follows are renames, as close together as can be.
    for (OutputFile& file : besides)
        file.finish();
    json.finish();
    page.finish();
}

int makeFeedFiles(const CommandLine& line) {
    const std::string& folder = line.operand();
    std::optional<SigningKey> key;
    if (const auto source = line.option("key"))
        key.emplace(readSigningKey(*source));
    std::vector<Fault> faults;
    FeedDocument feed = makeFeed(line, faults);
    if (key && isKeyFile(*line.option("key")))
        requireElsewhere(*line.option("key"), folder);
    if (!faults.empty())
        return refuseFor(folder, faults);
    requireReplaceable(folder, key.has_value());

    const std::string text = writeFeed(feed);
    readFeedText(folder, text);  // The core's own reader judges what is about to be published.
    if (key)
        feed.signer = key->key.publicKey().fingerprint();
    warnOfSigners(folder, feed, key);
    publish(folder, feed, text, key ? signDetached(text, key->key) : std::string(),
            key && !key->succession.empty() ? writeSuccessions(key->succession) : std::string());
    std::cout << folder << "/" << kFeedName << ": number " << feed.serial << ", "
              << counted(feed.packages.size(), "package") << ", valid until " << feed.expires
              << (key ? ", signed" : "") << '\n';
    return 0;
}

}  // namespace

const Command kFeedCommand = {"feed",
                              "makes an update feed of a folder of packages",
                              kHelp.c_str(),
                              {"FOLDER",
                               Syntax::Operand::needed,
                               {{"serial", '\0', OptionRule::Times::once},
                                {"expires", '\0', OptionRule::Times::once},
                                {"key", '\0', OptionRule::Times::once}}},
                              makeFeedFiles};

}  // namespace tavik::qpk
