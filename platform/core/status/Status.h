#pragma once

#include <string>

#include "platform/support/Error.h"

namespace tavik {

/// The core's statuses: one for each cause, -1 to -90, never given a second meaning. Their texts in
/// four languages stand in RequestTexts.h, StoreTexts.h, OnlineTexts.h and ToolTexts.h.
enum class Status : int {
    success = 0,

    // How the interface is used: RequestTexts.h.
    invalidArgument = -1,
    noSession = -2,
    unknownHandle = -3,
    bufferTooSmall = -4,
    outOfMemory = -5,
    internalError = -6,

    // What is asked for: RequestTexts.h.
    extensionNotFound = -7,
    ambiguousName = -8,
    productNotFound = -9,
    installedForAllUsers = -10,

    // Packages: RequestTexts.h.
    packageUnreadable = -11,
    packageDamaged = -12,
    packageUnsafe = -13,
    packageTooLarge = -14,
    manifestInvalid = -15,
    packageUnsupported = -16,
    noFittingProduct = -17,
    olderVersion = -18,

    // The store: StoreTexts.h.
    noHome = -20,
    storeUnsafe = -21,
    storeNewer = -22,
    storeDamaged = -23,
    storeBusy = -24,
    noPermission = -25,
    diskFull = -26,
    readOnlyDisk = -27,
    inputOutput = -28,
    productInvalid = -29,
    policyInvalid = -30,

    // Updates: OnlineTexts.h.
    updatesUnavailable = -31,
    noUpdate = -32,
    feedUnreachable = -33,
    feedInvalid = -34,
    feedExpired = -35,
    feedRolledBack = -36,
    addressRefused = -37,
    downloadFailed = -38,
    downloadDiffers = -39,
    wrongExtension = -40,
    versionRepublished = -41,
    feedSignerChanged = -42,
    certificateRefused = -43,
    notOffered = -44,

    // The identity service: OnlineTexts.h.
    endPointInvalid = -45,
    endPointMissing = -46,
    credentialsMissing = -47,
    accountRefused = -48,
    identityUnreachable = -49,

    // What a store repairs by itself, and tells: OnlineTexts.h.
    storeRebuilt = -50,
    filesMissing = -51,
    folderSetAside = -52,
    notRepaired = -53,

    // Trust: OnlineTexts.h.
    signatureMissing = -55,
    signerUnknown = -56,
    signatureWrong = -57,
    contentDiffers = -58,
    signerChanged = -59,
    keyInvalid = -60,
    policyForbids = -61,
    signerRevoked = -62,

    // Work for people and scripts: ToolTexts.h.
    outputFailed = -75,
    cancelled = -76,
    stateFileInvalid = -77,
    packageNotWanted = -78,
};

/// Whether the error says that a store cannot be used as it is: unsafe, of a newer version,
/// damaged, or out of this user's reach. Where it is the one for all users, a user's own extensions
/// go on working without it.
bool isUnusableStore(const Error& error) noexcept;

/// What an errno value means: a full disk, a read-only disk, a missing right, no memory, or any
/// other failure to read or write.
Status statusOfErrno(int error) noexcept;

/// Throws the Error with that status: `subject` is the thing (a path, a name), `detail` the facts
/// that the status's own text cannot know, in a few words.
[[noreturn]] inline void fail(Status status, const std::string& subject,
                              const std::string& detail = {}) {
    throw Error(static_cast<int>(status), subject, detail);
}

/// The same for a failed system call: the errno value chooses between a full disk, a read-only
/// disk, a missing right and any other failure; `action` says what failed ("make the folder").
[[noreturn]] void failErrno(int error, const std::string& subject, const std::string& action);

}  // namespace tavik
