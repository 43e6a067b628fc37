/*
 * norva_vell: the installer databases of a machine: the product configuration database (pcd), the
 * installer's payloads (vell), its products (mdb) and the payloads' data (pdb).
 *
 * Conventions, for every function unless its comment says otherwise:
 *
 *  1. Status. 0 is success, everything else a failure. VELL_STATUS_... below name the causes.
 *  2. Sessions. Every ...Open... gives a session of its own, closed once by the ...Close... of the
 *     same prefix. Opening never creates a database.
 *  3. Strings are NUL-terminated UTF-8. Lists are arrays of strings that end with a null pointer;
 *     their entries come in the order in which they were written.
 *  4. Memory. The session owns every string, list and record that it hands out, until it is closed.
 *     On a failure an output holds null (or 0).
 *  5. Nothing is locked between calls, and a wait on another program's lock ends after two seconds
 *     with VELL_STATUS_BUSY. A program that opens another session within two seconds of that is
 *     answered at once. A session sees a pcd domain as it was when it last listed the domain's
 *     subdomains; listing them again, or writing, shows what others have written since.
 *  6. Null pointers are refused with VELL_STATUS_INVALID. Nothing throws across this interface.
 *  7. Threads. A session is used by one thread at a time.
 *  8. Standard error gets one line, once, for a database that cannot be used: damaged, of a newer
 *     version, locked, open to others' writing, not readable or not writable. One that does not
 * exist, and what it does not hold, is answered by the status alone.
 *  9. Domains are numbers from 0 on. What each of them is for is the business of the programs that
 *     fill the database.
 *
 * The file and its folder belong to root or to the current user, and nobody else may write to them:
 * the programs that are named in it will be started. Otherwise opening fails with
 * VELL_STATUS_UNTRUSTED.
 *
 * The database is the file that NORVA_VELL_DB names; else ${XDG_DATA_HOME:-$HOME/.local/share}/
 * norva/vell.db where that exists; else /var/lib/norva/vell.db.
 */
#ifndef NORVA_VELL_H
#define NORVA_VELL_H

#ifdef __cplusplus
extern "C" {
#endif

#define NORVA_VELL_API __attribute__((visibility("default")))

/** Statuses; 1, 2, 9 and 11 are left to callers that number failures of their own beside them. */
enum {
    VELL_STATUS_OK = 0,
    VELL_STATUS_EMPTY = 8,          /**< no failure: the domain or collection has no entries */
    VELL_STATUS_INVALID = 20,       /**< a null pointer, an empty name, text that is no UTF-8, a
                                         domain below 0 in a call that writes */
    VELL_STATUS_NO_DATABASE = 21,   /**< there is no such file */
    VELL_STATUS_NOT_FOUND = 22,     /**< the database holds no such subdomain, payload, key, ... */
    VELL_STATUS_DAMAGED = 23,       /**< damaged, or no installer database at all */
    VELL_STATUS_NEWER = 24,         /**< written by a newer version of this library */
    VELL_STATUS_BUSY = 25,          /**< another program kept it locked */
    VELL_STATUS_NO_PERMISSION = 26, /**< not readable, or not writable where writing was asked */
    VELL_STATUS_INPUT_OUTPUT = 27,  /**< the system failed to read or write it; a full disk too */
    VELL_STATUS_INTERNAL = 28,      /**< memory ran out, or a fault of this library */
    VELL_STATUS_UNTRUSTED = 29,     /**< somebody else may write to the file or its folder */
    VELL_STATUS_TOO_LARGE = 30      /**< a name of more than 64 KiB or a value of more than 8 MiB */
};

/** Entries that fit the array of pdbGetPayloadDataKeys, the closing null included. */
#define VELL_PAYLOAD_KEYS_MAX 100

/* NOLINTBEGIN(modernize-use-using): C programs include this, too. */

typedef struct velliSession velliSession;

/** A product, named by mdbGetProduct. */
typedef struct velliProduct velliProduct;

/** What is known of one payload. */
typedef struct velliPayload {
    const char* code; /**< the payload's key in the payload data */
    const char* reserved[3];
    const char* kind; /**< "normal" for what a user would call an application */
} velliPayload;

/* NOLINTEND(modernize-use-using) */

/** Opens the product configuration database; `reserved` is 0. */
NORVA_VELL_API int pcdOpenSessionNoCreate(velliSession** out, int reserved);
NORVA_VELL_API int pcdCloseSession(velliSession*);

/** The subdomains of a domain; VELL_STATUS_EMPTY where it has none. */
NORVA_VELL_API int pcdGetDomainDataSubdomains(velliSession*, int domain, const char*** out);

/** The keys of a subdomain; a subdomain without keys gives an empty list. */
NORVA_VELL_API int pcdGetDomainDataKeys(velliSession*, int domain, const char* subdomain,
                                        const char*** out);

NORVA_VELL_API int pcdGetDomainData(velliSession*, int domain, const char* subdomain,
                                    const char* key, const char** out);

/** Writes one value, durably. A new subdomain or key goes behind those there are; a key that is
 *  there keeps its place. The database must exist. */
NORVA_VELL_API int pcdSetDomainData(velliSession*, int domain, const char* subdomain,
                                    const char* key, const char* value);

/** Takes one value out, durably; a subdomain goes with its last key. */
NORVA_VELL_API int pcdRemoveDomainData(velliSession*, int domain, const char* subdomain,
                                       const char* key);

/** Opens the installer's payloads. */
NORVA_VELL_API int vellOpenSession(velliSession** out);
NORVA_VELL_API int vellCloseSession(velliSession*);

/** The payloads of a collection that are in install state `state`; VELL_STATUS_EMPTY where there
 *  are none. */
NORVA_VELL_API int vellGetCollectionPayloads(velliSession*, int state, const char* collection,
                                             const char*** out);

/** The keys of a payload's data in a domain. */
NORVA_VELL_API int vellGetPayloadDataKeys(velliSession*, const char* payload, int domain,
                                          const char*** out);
NORVA_VELL_API int vellGetPayloadData(velliSession*, const char* payload, int domain,
                                      const char* key, const char** out);

/** All payloads in install state `state`; possibly none. */
NORVA_VELL_API int vellGetPayloads(velliSession*, int state, const char*** out);

/** When the payloads, products or collections (vell) or the product configuration (pcd) last
 *  changed: seconds since 1970, larger with every change. Needs no session. */
NORVA_VELL_API int vellGetLastModTime(unsigned long* out);
NORVA_VELL_API int pcdGetLastModTime(unsigned long* out);

/** Opens the products (mdb) and the payloads' data (pdb). */
NORVA_VELL_API int mdbOpenSessionNoCreate(velliSession** out);
NORVA_VELL_API int pdbOpenSessionNoCreate(velliSession** out);
NORVA_VELL_API int mdbCloseSession(velliSession*);
NORVA_VELL_API int pdbCloseSession(velliSession*);

NORVA_VELL_API int mdbGetProductIDList(velliSession*, const char*** out);
NORVA_VELL_API int mdbGetProduct(velliSession*, const char* productId, velliProduct** out);

/** The ids of a product's payloads; a product without payloads gives an empty list. */
NORVA_VELL_API int mdbGetProductPayloads(velliSession*, velliProduct*, const char*** out);
NORVA_VELL_API int mdbGetPayload(velliSession*, const char* payloadId, velliPayload** out);

/** A value of the payload's data in the domain `selector`. */
NORVA_VELL_API int pdbGetPayloadData(velliSession*, const char* payloadCode, int selector,
                                     const char* key, const char** out);

/** Fills `keys`, an array of VELL_PAYLOAD_KEYS_MAX entries, with the keys of the payload's data in
 *  the domain `selector` and a closing null. Keys that do not fit are left out. */
NORVA_VELL_API int pdbGetPayloadDataKeys(velliSession*, const char* payloadCode, int selector,
                                         const char** keys);

#ifdef __cplusplus
}
#endif

#endif
