// How a feed is published:
//
// 1. Read the folder's packages and the feed that is there. A version must not have other content
//    than it was published with, and a blocked version stays blocked. Any fault ends the run before
//    a file is written.
// 2. Make the new feed, and let the core's own reader judge it.
// 3. Write all files beside the old ones and make them durable. A failure up to here leaves the
//    folder as it was.
// 4. Rename them into place: the statements of succession and the signature, then the feed, then
//    the page. A signal waits until the last rename. Readers that come between two renames, or
//    after a crash there, may get the old feed with the new signature. They refuse it and keep
//    their last good copy. The next run makes the folder whole.

#include <unistd.h>

#include <filesystem>
#include <list>

#include "platform/core/crypto/DetachedSignature.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/FeedFolder.h"
#include "tools/qpk/FeedOptions.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/OutputFile.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

namespace fs = std::filesystem;

const std::string kHelp =
    std::string(
        "usage: qpk feed FOLDER [--serial N] [--expires DATE] [--key KEY]\n"
        "           [--block ID=VERSION:REASON]... [--no-page | [--title TEXT]\n"
        "           [--product NAME=TEXT]...]\n\n"
        "Writes FOLDER/feed.json, which offers every package (*.qpk) in FOLDER for updates, and\n"
        "FOLDER/index.html, which shows people what is there. Put the folder on a web server as\n"
        "it is. All versions are offered; who reads the feed takes the newest that fits. A\n"
        "version that the last feed.json has as \"blocked\" stays blocked; all else is written\n"
        "anew, lists of mirrors too.\n\n"
        "  --serial N      the feed's number, which must grow from feed to feed; without it one\n"
        "                  more than that of the feed.json that is there, or 1\n"
        "  --expires DATE  until when the feed is valid, 2027-06-01 or 2027-06-01T12:00:00Z;\n"
        "                  without it a year from today\n"
        "  --block ID=VERSION:REASON\n"
        "                  withdraw a version: nobody gets it any more, also where its package\n"
        "                  is gone; REASON is for people, in one line\n"
        "  --no-page       write no index.html, and remove the one of an earlier feed\n"
        "  --title TEXT    the page's title; without it Extensions\n"
        "  --product NAME=TEXT\n"
        "                  what the page calls a host product\n"
        "  With --key, the feed is signed, into FOLDER/feed.json.sig.\n") +
    kKeyHelp;

std::int64_t serialOf(const CommandLine& line, const std::optional<Feed>& old) {
    const auto given = serialBy(line);
    const bool isAtTheEnd = old && old->serial == kMaxFeedSerial;
    if (isAtTheEnd && !given)
        throw Failure(line.operand() + "/" + kFeedName,
                      "its number is the highest there is, and none can follow it",
                      "begin anew: give --serial with a greater one than the feed had before that; "
                      "readers of either feed take it");
    if (!given)
        return old ? old->serial + 1 : 1;
    if (old && !isAtTheEnd && *given <= old->serial)
        throw Failure("--serial " + std::to_string(*given),
                      "the feed has reached number " + std::to_string(old->serial),
                      "give a greater one: who has seen that number refuses lower ones");
    return *given;
}

enum class PageIs { missing, ours, foreign };

PageIs pageIn(const std::string& folder) {
    const auto text = readWhole(folder + "/" + kPageName, kMaxFileBytes, FinalLink::followed);
    if (!text)
        return PageIs::missing;
    return text->find(kPageMark) == std::string::npos ? PageIs::foreign : PageIs::ours;
}

/// A signed feed is not replaced by an unsigned one by accident, nor is a page that qpk did not
/// make.
void requireReplaceable(const std::string& folder, bool isSigned, bool makesPage) {
    const std::string signature = folder + "/" + kFeedName + std::string(kSignatureSuffix);
    if (!isSigned && fs::exists(signature))
        throw Failure(signature, "the feed was signed",
                      "give --key, or remove that file to publish the feed unsigned");
    if (makesPage && pageIn(folder) == PageIs::foreign)
        throw Failure(folder + "/" + kPageName, "it was not made by qpk feed",
                      "move it away, or give --no-page");
}

/// Everything in the folder is published, so the private key must not be there.
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
    feed.restarts = old && (old->restarts || old->serial == kMaxFeedSerial);
    feed.expires = expiryOf(line);
    if (old)
        compareWithOld(*old, feed, report);
    for (const WithdrawnVersion& withdrawn : withdrawnBy(line))
        block(withdrawn, feed);
    return feed;
}

/// The signer of the feed that the folder has; empty where there is no feed or no signature.
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
        printProblem("warning: " + warning);
    const Signer before = formerSigner(folder);
    if (!key || before.key.empty() || before.key == feed.signer)
        return;
    const Signer now{feed.signer,
                     keysSucceededBy(feed.signer, key->succession, {}, authorCrypto())};
    printProblem("warning: the feed was " + describe(before) + ", and is now " + describe(now) +
                 (maySucceed(before.key, now) ? ", which takes its place"
                                              : "; who has seen the feed before will refuse it"));
}

void publish(const std::string& folder, const std::optional<std::string>& pageText,
             const std::string& text, const std::string& signature, const std::string& succession) {
    const std::string path = folder + "/" + kFeedName;
    const std::string pagePath = folder + "/" + kPageName;
    std::optional<OutputFile> page;
    if (pageText) {
        page.emplace(pagePath, FinalLink::refused);
        page->write(*pageText);
    }
    OutputFile json(path, FinalLink::refused);
    json.write(text);
    std::list<OutputFile> besides;
    const auto addFile = [&](std::string_view suffix, const std::string& content) {
        if (!content.empty())
            besides.emplace_back(path + std::string(suffix), FinalLink::refused).write(content);
    };
    addFile(kSuccessionSuffix, succession);
    addFile(kSignatureSuffix, signature);
    for (OutputFile& file : besides)
        file.sync();
    json.sync();
    if (page)
        page->sync();
    const DeferredTermination fromHereToTheLastRename;
    if (succession.empty())  // One that is there is about another key.
        ::unlink((path + std::string(kSuccessionSuffix)).c_str());
    // Everything is written. Only the renames are left, one directly after the other.
    for (OutputFile& file : besides)
        file.putInPlace();
    json.putInPlace();
    if (page)
        page->putInPlace();
    else if (pageIn(folder) == PageIs::ours)  // It would show what was offered before.
        ::unlink(pagePath.c_str());
}

int makeFeedFiles(const CommandLine& line) {
    const std::string& folder = line.operand();
    const FeedPage page = pageOf(line);
    std::optional<SigningKey> key;
    if (const auto source = line.option("key"))
        key.emplace(readSigningKey(*source));
    std::vector<Fault> faults;
    FeedDocument feed = makeFeed(line, faults);
    if (key && isKeyFile(*line.option("key")))
        requireElsewhere(*line.option("key"), folder);
    if (!faults.empty())
        return refuseFor(folder, faults);
    requireReplaceable(folder, key.has_value(), !line.has("no-page"));

    const std::string text = writeFeed(feed);
    readFeedText(folder, text);  // The core's own reader judges what is about to be published.
    if (key)
        feed.signer = key->key.publicKey().fingerprint();
    warnOfSigners(folder, feed, key);
    const auto pageText =
        line.has("no-page") ? std::nullopt : std::optional(writeFeedPage(feed, page));
    publish(folder, pageText, text, key ? signDetached(text, key->key) : std::string(),
            key && !key->succession.empty() ? writeSuccessions(key->succession) : std::string());
    printLine(folder + "/" + kFeedName + ": number " + std::to_string(feed.serial) + ", " +
              counted(feed.packages.size(), "package") + ", valid until " + feed.expires +
              (key ? ", signed" : ""));
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
                                {"key", '\0', OptionRule::Times::once},
                                {"block", '\0', OptionRule::Times::any},
                                {"no-page", '\0', OptionRule::Times::once, OptionRule::Value::none},
                                {"title", '\0', OptionRule::Times::once},
                                {"product", '\0', OptionRule::Times::any}}},
                              makeFeedFiles};

}  // namespace tavik::qpk
