#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "platform/core/crypto/Ed25519.h"
#include "platform/core/status/Status.h"
#include "platform/support/FileDescriptor.h"
#include "tools/qpk/Command.h"
#include "tools/qpk/Failure.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {
namespace {

constexpr const char* kHelp =
    "usage: qpk keygen [NAME]\n\n"
    "Makes a pair of Ed25519 keys and writes NAME.key, the private key that signs, readable by\n"
    "you alone, and NAME.pem, the public key for those who are to trust it. NAME is\n"
    "signing-key unless given. Files that exist are never overwritten.\n";

/// Writes a new file durably. After a failure the file is removed again.
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

int keygen(const CommandLine& line) {
    const std::string name = line.operand().empty() ? "signing-key" : line.operand();
    const PrivateKey key = PrivateKey::generate();
    const PublicKey publicKey = key.publicKey();
    writeNewFile(name + ".key", key.pem(), 0600);
    try {
        writeNewFile(name + ".pem", publicKey.pem(), 0644);
    } catch (...) {
        ::unlink((name + ".key").c_str());
        throw;
    }
    std::cout << "private key   " << name << ".key (keep it secret, and a copy of it safe)\n"
              << "public key    " << name << ".pem\n"
              << "fingerprint   " << publicKey.fingerprint() << '\n';
    return 0;
}

}  // namespace

const Command kKeygenCommand = {"keygen",
                                "makes a pair of keys to sign with",
                                kHelp,
                                {"NAME", Syntax::Operand::optional, {}},
                                keygen};

}  // namespace tavik::qpk
