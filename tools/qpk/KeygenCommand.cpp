#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/core/crypto/DetachedSignature.h"
#include "platform/core/crypto/Ed25519.h"
#include "platform/core/status/Status.h"
#include "platform/support/DeferredTermination.h"
#include "platform/support/FileDescriptor.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/InputFile.h"
#include "tools/qpk/Output.h"
#include "tools/qpk/Signing.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHelp =
    "usage: qpk keygen [NAME] [--succeeds OLD]\n\n"
    "Makes a pair of Ed25519 keys and writes NAME.key, the private key that signs, readable by\n"
    "you alone, and NAME.pem, the public key for those who are to trust it. NAME is\n"
    "signing-key unless given. Files that exist are never overwritten.\n\n"
    "  --succeeds OLD  the private key OLD names the new one as its successor, in\n"
    "                  NAME.succession.json: what the new key signs may replace what the old one\n"
    "                  signed. qpk sign and qpk feed pass the statement on; keep it beside "
    "NAME.key\n";

/// Writes a new file durably. After a failure the file is removed again. Its name is taken first,
/// and by nobody else: AtomicFile would replace a key that got the name meanwhile.
void writeNewFile(const std::string& path, const std::string& text, mode_t mode) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file && errno == EEXIST)
        throw Failure(path, "it exists already", "choose another name, or move it away");
    if (!file)
        failSystem(errno, path, "make the file");
    if (writeAll(file.get(), text) && ::fchmod(file.get(), mode) == 0 && ::fsync(file.get()) == 0)
        return;
    const int error = errno;
    ::unlink(path.c_str());
    failErrno(error, path, "write the file");
}

/// The statements that the old key got, and the one that it makes.
std::vector<Succession> succeed(const SigningKey& old, const PublicKey& successor) {
    std::vector<Succession> statements = old.succession;
    const std::string fingerprint = successor.fingerprint();
    statements.push_back({fingerprint, signDetached(successionStatement(fingerprint), old.key)});
    return statements;
}

struct NewFile {
    std::string path;
    std::string text;
    mode_t mode;
};

/// All of them or none.
void writeNewFiles(const std::vector<NewFile>& files) {
    // A key that is half written is worth nothing, and would keep its name from a new one.
    const DeferredTermination fromTheFirstToTheLast;
    std::size_t done = 0;
    try {
        for (; done < files.size(); ++done)
            writeNewFile(files[done].path, files[done].text, files[done].mode);
    } catch (...) {
        while (done-- > 0)
            ::unlink(files[done].path.c_str());
        throw;
    }
}

int keygen(const CommandLine& line) {
    const Undumpable held;
    const std::string name = line.operand().empty() ? "signing-key" : line.operand();
    const PrivateKey key = PrivateKey::generate();
    const PublicKey publicKey = key.publicKey();
    std::vector<NewFile> files{{name + ".key", key.pem(), 0600},
                               {name + ".pem", publicKey.pem(), 0644}};
    if (const auto old = line.option("succeeds"))
        files.push_back({successionFileOf(name + ".key"),
                         writeSuccessions(succeed(readSigningKey(*old), publicKey)), 0644});
    writeNewFiles(files);
    printLine("private key   " + name + ".key (keep it secret, and a copy of it safe)");
    printLine("public key    " + name + ".pem");
    printLine("fingerprint   " + publicKey.fingerprint());
    if (files.size() > 2)
        printLine("succession    " + files.back().path + " (keep it beside the private key)");
    return 0;
}

}  // namespace

const Command kKeygenCommand = {
    "keygen",
    "makes a pair of keys to sign with",
    kHelp,
    {"NAME", Syntax::Operand::optional, {{"succeeds", '\0', OptionRule::Times::once}}},
    keygen};

}  // namespace tavik::qpk
