#include <algorithm>
#include <memory>

#include "platform/vell/Failure.h"
#include "platform/vell/InstallerDatabase.h"
#include "platform/vell/Session.h"

using tavik::vell::Access;
using tavik::vell::DataKind;
using tavik::vell::Failure;
using tavik::vell::Part;

namespace {

/// Runs `work`, and turns a failure of SQLite into a Failure.
template <typename Work>
int described(Work work) {
    try {
        return work();
    } catch (const tavik::SqliteError& error) {
        throw tavik::vell::describe(error, tavik::vell::databasePath());
    }
}

/// Turns every exception into a status. Every entry goes through it. The description is made inside
/// of it, because there may be no memory for that either.
template <typename Work>
int guarded(Work work) noexcept {
    try {
        return described(work);
    } catch (const Failure& failure) {
        tavik::vell::explain(failure);
        return failure.status();
    } catch (...) {
        return VELL_STATUS_INTERNAL;
    }
}

/// Sets `*out` to what `make` returns, and to null on a failure. Null from `make` means
/// VELL_STATUS_EMPTY. If one of the arguments is null, `make` is not called.
template <typename Result, typename Make, typename... Arguments>
int give(Result* out, Make make, Arguments*... arguments) noexcept {
    if (out == nullptr)
        return VELL_STATUS_INVALID;
    *out = nullptr;
    const bool lacksOne = ((arguments == nullptr) || ...);
    if (lacksOne)
        return VELL_STATUS_INVALID;
    return guarded([&] {
        *out = make();
        return *out == nullptr ? VELL_STATUS_EMPTY : VELL_STATUS_OK;
    });
}

int openSession(velliSession** out) noexcept {
    return give(out, [] { return std::make_unique<velliSession>().release(); });
}

int closeSession(velliSession* session) noexcept {
    if (session == nullptr)
        return VELL_STATUS_INVALID;
    const std::unique_ptr<velliSession> owned(session);
    return VELL_STATUS_OK;
}

int modificationTime(Part part, unsigned long* out) noexcept {
    if (out == nullptr)
        return VELL_STATUS_INVALID;
    *out = 0;
    return guarded([&] {
        const auto database = tavik::vell::open(tavik::vell::databasePath(), Access::read);
        *out = static_cast<unsigned long>(tavik::vell::modificationTime(database, part));
        return VELL_STATUS_OK;
    });
}

}  // namespace

int pcdOpenSessionNoCreate(velliSession** out, int /*reserved*/) {
    return openSession(out);
}

int pcdCloseSession(velliSession* session) {
    return closeSession(session);
}

int pcdGetDomainDataSubdomains(velliSession* session, int domain, const char*** out) {
    return give(
        out, [&] { return session->subdomains(domain); }, session);
}

int pcdGetDomainDataKeys(velliSession* session, int domain, const char* subdomain,
                         const char*** out) {
    return give(
        out, [&] { return session->keys(DataKind::pcd, domain, subdomain); }, session, subdomain);
}

int pcdGetDomainData(velliSession* session, int domain, const char* subdomain, const char* key,
                     const char** out) {
    return give(
        out, [&] { return session->value(DataKind::pcd, domain, subdomain, key); }, session,
        subdomain, key);
}

int pcdSetDomainData(velliSession* session, int domain, const char* subdomain, const char* key,
                     const char* value) {
    if (session == nullptr || subdomain == nullptr || key == nullptr || value == nullptr)
        return VELL_STATUS_INVALID;
    return guarded([&] {
        session->set(domain, subdomain, key, value);
        return VELL_STATUS_OK;
    });
}

int pcdRemoveDomainData(velliSession* session, int domain, const char* subdomain, const char* key) {
    if (session == nullptr || subdomain == nullptr || key == nullptr)
        return VELL_STATUS_INVALID;
    return guarded([&] {
        session->remove(domain, subdomain, key);
        return VELL_STATUS_OK;
    });
}

int vellOpenSession(velliSession** out) {
    return openSession(out);
}

int vellCloseSession(velliSession* session) {
    return closeSession(session);
}

int vellGetCollectionPayloads(velliSession* session, int state, const char* collection,
                              const char*** out) {
    return give(
        out, [&] { return session->collectionPayloads(collection, state); }, session, collection);
}

int vellGetPayloadDataKeys(velliSession* session, const char* payload, int domain,
                           const char*** out) {
    return give(
        out, [&] { return session->keys(DataKind::payload, domain, payload); }, session, payload);
}

int vellGetPayloadData(velliSession* session, const char* payload, int domain, const char* key,
                       const char** out) {
    return give(
        out, [&] { return session->value(DataKind::payload, domain, payload, key); }, session,
        payload, key);
}

int vellGetPayloads(velliSession* session, int state, const char*** out) {
    return give(
        out, [&] { return session->payloads(state); }, session);
}

int vellGetLastModTime(unsigned long* out) {
    return modificationTime(Part::vell, out);
}

int pcdGetLastModTime(unsigned long* out) {
    return modificationTime(Part::pcd, out);
}

int mdbOpenSessionNoCreate(velliSession** out) {
    return openSession(out);
}

int pdbOpenSessionNoCreate(velliSession** out) {
    return openSession(out);
}

int mdbCloseSession(velliSession* session) {
    return closeSession(session);
}

int pdbCloseSession(velliSession* session) {
    return closeSession(session);
}

int mdbGetProductIDList(velliSession* session, const char*** out) {
    return give(
        out, [&] { return session->productIds(); }, session);
}

int mdbGetProduct(velliSession* session, const char* productId, velliProduct** out) {
    return give(
        out, [&] { return session->product(productId); }, session, productId);
}

int mdbGetProductPayloads(velliSession* session, velliProduct* product, const char*** out) {
    return give(
        out, [&] { return session->productPayloads(*product); }, session, product);
}

int mdbGetPayload(velliSession* session, const char* payloadId, velliPayload** out) {
    return give(
        out, [&] { return session->payload(payloadId); }, session, payloadId);
}

int pdbGetPayloadData(velliSession* session, const char* payloadCode, int selector, const char* key,
                      const char** out) {
    return vellGetPayloadData(session, payloadCode, selector, key, out);
}

int pdbGetPayloadDataKeys(velliSession* session, const char* payloadCode, int selector,
                          const char** keys) {
    if (keys == nullptr)
        return VELL_STATUS_INVALID;
    *keys = nullptr;
    const char** all = nullptr;
    const int status = vellGetPayloadDataKeys(session, payloadCode, selector, &all);
    if (status != VELL_STATUS_OK)
        return status;
    int count = 0;
    while (count < VELL_PAYLOAD_KEYS_MAX - 1 && all[count] != nullptr)
        ++count;
    std::copy(all, all + count, keys);
    keys[count] = nullptr;
    return VELL_STATUS_OK;
}
