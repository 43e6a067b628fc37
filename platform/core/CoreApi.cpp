#include <LibTavikCoreLib.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>

#include "platform/core/session/Session.h"
#include "platform/core/status/Texts.h"
#include "platform/support/FileDescriptor.h"

// The C edge: each function checks its arguments and hands over; guarded() turns every failure into
// a status and a line on standard error.

namespace {

using namespace tavik;

std::unique_ptr<Session>& session() {
    static std::unique_ptr<Session> current;
    return current;
}

/// The language until a session has one.
Language startLanguage = Language::english;

Language language() noexcept {
    return session() ? session()->language() : startLanguage;
}

int report(const Error& error) noexcept {
    try {
        writeAll(STDERR_FILENO, explain(error, language()) + "\n");
    } catch (const std::exception&) {
        // Without memory for the line, the status alone has to do.
    }
    return error.status();
}

int report(Status status, const char* detail) noexcept {
    try {
        return report(Error(static_cast<int>(status), {}, detail));
    } catch (const std::exception&) {
        return static_cast<int>(status);
    }
}

template <class Work>
int guarded(Work work) noexcept {
    try {
        work();
        return static_cast<int>(Status::success);
    } catch (const Error& error) {
        return report(error);
    } catch (const std::bad_alloc&) {
        return report(Status::outOfMemory, "");
    } catch (const std::exception& error) {
        return report(Status::internalError, error.what());
    } catch (...) {
        return report(Status::internalError, "");
    }
}

/// The same for what needs a session.
template <class Work>
int inSession(Work work) noexcept {
    return guarded([&] {
        if (!session())
            fail(Status::noSession, "");
        work(*session());
    });
}

void require(const void* pointer, const char* name) {
    if (pointer == nullptr)
        fail(Status::invalidArgument, name, "a null pointer");
}

/// The second half of the two-call pattern and, without a buffer, the first.
void copyText(std::string_view text, unsigned long size, char* buffer, unsigned long* sizeOut) {
    const unsigned long needed = text.size() + 1;
    *sizeOut = needed;
    if (buffer == nullptr)
        return;
    if (size < needed)
        fail(Status::bufferTooSmall, "buffer",
             std::to_string(size) + " bytes; needed: " + std::to_string(needed));
    text.copy(buffer, text.size());  // unlike memcpy also for an empty view, which has no bytes
    buffer[text.size()] = '\0';
}

/// Copies into a field of a record; the stored texts' limits are below the fields' sizes.
template <std::size_t Size>
void copyField(std::string_view text, char (&field)[Size]) {
    const std::size_t length = std::min(text.size(), Size - 1);
    text.copy(field, length);
    std::memset(field + length, 0, Size - length);
}

void fillRecord(const Offer& offer, TavikUpdateInfo& record) {
    record = TavikUpdateInfo{};
    copyField(offer.name, record.name);
    copyField(offer.item.version.text(), record.version);
}

void requireCount(unsigned long wanted, std::size_t available) {
    if (wanted > available)
        fail(Status::invalidArgument, "count",
             std::to_string(wanted) + "; there are " + std::to_string(available));
}

}  // namespace

int TavikInit(const char* locale, const char* productFamily, OperationRecord* record) {
    return guarded([&] {
        require(locale, "locale");
        require(productFamily, "productFamily");
        require(record, "record");
        // Failures from here on are explained in the language that was just asked for.
        session().reset();
        startLanguage = languageOf(locale);
        session() = std::make_unique<Session>(locale, productFamily);
    });
}

int TavikTerminate(void) {
    session().reset();
    startLanguage = Language::english;
    return static_cast<int>(Status::success);
}

const char* TavikGetMessage(int status) {
    return wordingOf(status, language()).cause;
}

int TavikInstallExtension(const char* path, OperationRecord* record, ExtensionHandle* out) {
    return inSession([&](Session& current) {
        require(path, "path");
        require(record, "record");
        require(out, "out");
        *out = current.install(path);
    });
}

int TavikInstallExtensionForAll(const char* path, OperationRecord* record) {
    return inSession([&](Session& current) {
        require(path, "path");
        require(record, "record");
        current.installForAll(path);
    });
}

int TavikRemoveExtension(ExtensionHandle handle, OperationRecord* record) {
    return inSession([&](Session& current) {
        require(record, "record");
        current.remove(handle);
    });
}

int TavikRemoveExtensionForAll(const char* name, OperationRecord* record) {
    return inSession([&](Session& current) {
        require(name, "name");
        require(record, "record");
        current.removeForAll(name);
    });
}

int TavikEnableExtension(ExtensionHandle handle, OperationRecord* record) {
    return inSession([&](Session& current) {
        require(record, "record");
        current.setState(handle, ExtensionState::enabled);
    });
}

int TavikDisableExtension(ExtensionHandle handle, OperationRecord* record) {
    return inSession([&](Session& current) {
        require(record, "record");
        current.setState(handle, ExtensionState::disabled);
    });
}

int TavikGetExtensionHandleByName(const char* name, ExtensionHandle* out) {
    return inSession([&](Session& current) {
        require(name, "name");
        require(out, "out");
        *out = current.extension(name).handle;
    });
}

int TavikGetExtensionName(ExtensionHandle handle, unsigned long size, char* buffer,
                          unsigned long* sizeOut) {
    return inSession([&](Session& current) {
        require(sizeOut, "sizeOut");
        copyText(current.extension(handle).name, size, buffer, sizeOut);
    });
}

int TavikGetExtensionVersion(ExtensionHandle handle, unsigned long size, char* buffer,
                             unsigned long* sizeOut) {
    return inSession([&](Session& current) {
        require(sizeOut, "sizeOut");
        copyText(current.extension(handle).version, size, buffer, sizeOut);
    });
}

int TavikGetExtensionStatus(ExtensionHandle handle, int* stateOut) {
    return inSession([&](Session& current) {
        require(stateOut, "stateOut");
        *stateOut = static_cast<int>(current.extension(handle).state);
    });
}

int TavikGetExtensionMetadataStruct(ExtensionHandle handle, TavikExtensionMetadata* out) {
    return inSession([&](Session& current) {
        require(out, "out");
        const InstalledExtension& installed = current.extension(handle);
        *out = TavikExtensionMetadata{};
        copyField(installed.name, out->name);
        copyField(installed.version, out->version);
        out->enabled = static_cast<int32_t>(installed.state);
        copyField(installed.id, out->id);
        copyField(installed.storeName, out->storeName);
    });
}

int TavikGetCountOfProduct(unsigned long* out) {
    return inSession([&](Session& current) {
        require(out, "out");
        *out = current.products().products().size();
    });
}

int TavikGetProductsList(unsigned long count, char** names) {
    return inSession([&](Session& current) {
        require(names, "names");
        const auto& products = current.listedProducts().products();
        requireCount(count, products.size());
        for (unsigned long i = 0; i < count; ++i) {
            require(names[i], "names[i]");
            std::memcpy(names[i], products[i].displayName.c_str(),
                        products[i].displayName.size() + 1);
        }
    });
}

int TavikGetExtensionCountOfProductByDisplayName(const char* displayName, unsigned long* out) {
    return inSession([&](Session& current) {
        require(displayName, "displayName");
        require(out, "out");
        *out = current.extensionsOf(displayName).size();
    });
}

int TavikGetExtensionsListOfProductByDisplayName(const char* displayName, unsigned long count,
                                                 ExtensionHandle* handles) {
    return inSession([&](Session& current) {
        require(displayName, "displayName");
        require(handles, "handles");
        const auto& extensions = current.extensionsOf(displayName);
        requireCount(count, extensions.size());
        for (unsigned long i = 0; i < count; ++i)
            handles[i] = extensions[i]->handle;
    });
}

int TavikGetProductNameByProductDisplayName(const char* displayName, char* name) {
    return inSession([&](Session& current) {
        require(displayName, "displayName");
        require(name, "name");
        const Product* product = current.products().byDisplayName(displayName);
        const std::string text = product == nullptr ? "" : product->name;
        std::memcpy(name, text.c_str(), text.size() + 1);
    });
}

int TavikStartCheckUpdate(void) {
    return inSession([](Session& current) { current.startUpdateCheck(); });
}

int TavikWaitUpdateComplete(void) {
    return inSession([](Session& current) { current.waitForUpdateCheck(); });
}

int TavikGetCountOfUpdateExtByProduct(const char* productName, unsigned long* out) {
    return inSession([&](Session& current) {
        require(productName, "productName");
        require(out, "out");
        *out = current.updateCheck().updatesOf(productName).size();
    });
}

int TavikGetUpdateInfoByProduct(const char* productName, unsigned long count,
                                TavikUpdateInfo* records) {
    return inSession([&](Session& current) {
        require(productName, "productName");
        require(records, "records");
        const auto offers = current.updateCheck().updatesOf(productName);
        requireCount(count, offers.size());
        for (unsigned long i = 0; i < count; ++i)
            fillRecord(*offers[i], records[i]);
    });
}

int TavikGetUpdateInfoByExtId(ExtensionHandle handle, TavikUpdateInfo* out) {
    return inSession([&](Session& current) {
        require(out, "out");
        fillRecord(current.updateOf(handle), *out);
    });
}

int TavikUpdateExtension(ExtensionHandle handle, void* reserved) {
    return inSession([&](Session& current) {
        if (reserved != nullptr)
            fail(Status::invalidArgument, "reserved", "not null");
        current.update(handle);
    });
}

int TavikSetKPSEndPoint(const char* endPoint) {
    return inSession([&](Session& current) {
        require(endPoint, "endPoint");
        current.identity().setEndPoint(endPoint);
    });
}

int TavikSetKPSCredentials(const char* accessToken, const char* tokenType, const char* accountID) {
    return inSession([&](Session& current) {
        require(accessToken, "accessToken");
        require(tokenType, "tokenType");
        require(accountID, "accountID");
        current.identity().setCredentials(accessToken, tokenType, accountID);
    });
}
