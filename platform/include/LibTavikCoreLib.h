/*
 * LibTavikCoreLib: install, list, switch, update and remove extensions (.qpk packages).
 *
 * Conventions, for every function unless its comment says otherwise:
 *
 *  1. Status. The int that comes back is 0 for success and negative for failure (-1 to -90 here);
 *     TavikGetMessage gives its text. A failure also writes one line, cause and remedy, to standard
 *     error; a success writes nothing.
 *  2. Handles. An ExtensionHandle names one installed extension from the call that returned it
 * until TavikTerminate or the removal of that extension; -1 names none.
 *  3. Strings are NUL-terminated UTF-8. Sizes count bytes and include the terminating NUL.
 *  4. Memory. The caller owns every buffer it passes in. What TavikGetMessage returns is static.
 *  5. Two-call text. Call with a null buffer (any size) to learn the size, then with a buffer of at
 *     least that size. A smaller buffer is left untouched and answered with a failing status; the
 *     size needed is stored in both cases.
 *  6. Null pointers, handles that name nothing, and calls outside TavikInit ... TavikTerminate are
 *     refused with a status of their own. An array that is to be filled is never null, also for a
 *     count of 0. Only two arguments may be null: the buffer in the first call for a text, and
 *     what is reserved. Nothing throws across this interface.
 *  7. Threads. Calls are made from one thread at a time. Several processes may work on one store.
 *  8. Versions. A record only ever grows at its reserved places; sizes and offsets are fixed.
 */
#ifndef LIB_TAVIK_CORE_LIB_H
#define LIB_TAVIK_CORE_LIB_H

#include <stdint.h>

#ifdef __cplusplus
#define TAVIK_STATIC_ASSERT static_assert
#include <cstddef>
extern "C" {
#else
#define TAVIK_STATIC_ASSERT _Static_assert
#include <stddef.h>
#endif

#define TAVIK_API __attribute__((visibility("default")))

/* NOLINTBEGIN(modernize-use-using): this header is C as well. */

/** One installed extension; -1 for none. */
typedef int32_t ExtensionHandle;

/** Belongs to the core: starts zeroed, lives until TavikTerminate, never read by the caller. */
typedef struct OperationRecord {
    uint64_t opaque[8];
} OperationRecord;

/** An update that is available for one extension. Texts are UTF-8 and end at their NUL, or with
 *  their field where it is full. */
typedef struct TavikUpdateInfo {
    unsigned char reserved0[8];
    char name[256];     /**< the extension's name */
    char version[6208]; /**< the version on offer; its room is the rest of the record */
} TavikUpdateInfo;

/** What is known of one installed extension. Texts as in TavikUpdateInfo. */
typedef struct TavikExtensionMetadata {
    unsigned char reserved0[4];
    char name[512];
    char version[1312]; /**< its room reaches to the next field */
    int32_t enabled;    /**< 1 when enabled, 0 when disabled */
    unsigned char reserved1[6548];
    char id[256];
    char storeName[256];
} TavikExtensionMetadata;

/* NOLINTEND(modernize-use-using) */

TAVIK_STATIC_ASSERT(sizeof(ExtensionHandle) == 4, "a handle is 32 bits wide");
TAVIK_STATIC_ASSERT(sizeof(TavikUpdateInfo) == 6472, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikUpdateInfo, name) == 8, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikUpdateInfo, version) == 264, "fixed by the interface");
TAVIK_STATIC_ASSERT(sizeof(TavikExtensionMetadata) == 8892, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikExtensionMetadata, name) == 4, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikExtensionMetadata, version) == 516, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikExtensionMetadata, enabled) == 1828, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikExtensionMetadata, id) == 8380, "fixed by the interface");
TAVIK_STATIC_ASSERT(offsetof(TavikExtensionMetadata, storeName) == 8636, "fixed by the interface");

/** Starts a session. `locale` ("en_US", "" for the default) chooses the language of the texts;
 *  `productFamily` ("QZ") is the folder of both stores that the session works in. A second call
 *  within a session starts it anew with the new values. */
TAVIK_API int TavikInit(const char* locale, const char* productFamily, OperationRecord*);

/** Ends the session and forgets handles and credentials. Succeeds without a session too. */
TAVIK_API int TavikTerminate(void);

/** Installs the package file at `path` for the current user; `*out` names the extension.
 *  The same version again repairs the files; an older one is refused. */
TAVIK_API int TavikInstallExtension(const char* path, OperationRecord*, ExtensionHandle* out);

/** Installs the package file at `path` for all users of the machine. */
TAVIK_API int TavikInstallExtensionForAll(const char* path, OperationRecord*);

/** Removes an extension of the current user. */
TAVIK_API int TavikRemoveExtension(ExtensionHandle, OperationRecord*);

/** Removes the extension of that name (or id) that is installed for all users. */
TAVIK_API int TavikRemoveExtensionForAll(const char* name, OperationRecord*);

/** Enables an extension; one that is enabled stays so and the call succeeds. */
TAVIK_API int TavikEnableExtension(ExtensionHandle, OperationRecord*);

/** Disables an extension; one that is disabled stays so and the call succeeds. */
TAVIK_API int TavikDisableExtension(ExtensionHandle, OperationRecord*);

/** Finds an installed extension by its id or, where no extension has exactly that id, by its name.
 *  A name that several extensions share is refused; where none has it, an id in other letter case
 *  is found too. */
TAVIK_API int TavikGetExtensionHandleByName(const char* name, ExtensionHandle* out);

/** The extension's name; two-call text. */
TAVIK_API int TavikGetExtensionName(ExtensionHandle, unsigned long size, char* buffer,
                                    unsigned long* sizeOut);

/** The extension's version as its package writes it; two-call text. */
TAVIK_API int TavikGetExtensionVersion(ExtensionHandle, unsigned long size, char* buffer,
                                       unsigned long* sizeOut);

/** `*stateOut` becomes 1 for an enabled extension and 0 for a disabled one. */
TAVIK_API int TavikGetExtensionStatus(ExtensionHandle, int* stateOut);

/** The text of a status in the session's language (English outside a session); never null,
 *  whatever the int. */
TAVIK_API const char* TavikGetMessage(int status);

/** The number of host products known to the core. */
TAVIK_API int TavikGetCountOfProduct(unsigned long* out);

/** Fills `count` buffers of 64 bytes with the display names of the products, ordered by their
 *  bytes. `count` may be smaller than the number of products, not larger. */
TAVIK_API int TavikGetProductsList(unsigned long count, char** names);

/** The number of extensions installed for the product with that display name. */
TAVIK_API int TavikGetExtensionCountOfProductByDisplayName(const char*, unsigned long* out);

/** Fills `count` handles of that product's extensions, ordered by the bytes of their names.
 *  `count` may be smaller than the number of extensions, not larger. */
TAVIK_API int TavikGetExtensionsListOfProductByDisplayName(const char*, unsigned long count,
                                                           ExtensionHandle*);

/** Copies the internal name of the product with that display name into `name` (64 bytes). A product
 *  that is not known is no failure: `name` becomes empty. */
TAVIK_API int TavikGetProductNameByProductDisplayName(const char*, char* name);

/** Starts the check for updates in the background. What fails in it shows in the answers of the
 *  calls below, in each product's or extension's own. */
TAVIK_API int TavikStartCheckUpdate(void);

/** Waits until the check that was started has ended; the wait is bounded. */
TAVIK_API int TavikWaitUpdateComplete(void);

/** The number of extensions of the product (internal name) that have an update. */
TAVIK_API int TavikGetCountOfUpdateExtByProduct(const char* productName, unsigned long* out);

/** Fills `count` records, ordered by the bytes of the extensions' names. */
TAVIK_API int TavikGetUpdateInfoByProduct(const char* productName, unsigned long count,
                                          TavikUpdateInfo*);

/** The update of one extension; a failing status of its own where there is none. */
TAVIK_API int TavikGetUpdateInfoByExtId(ExtensionHandle, TavikUpdateInfo*);

/** Downloads and installs the update of one extension. `reserved` is null. */
TAVIK_API int TavikUpdateExtension(ExtensionHandle, void* reserved);

/** Sets the identity service's address for this session. */
TAVIK_API int TavikSetKPSEndPoint(const char*);

/** Hands over the user's credentials for this session; they are never stored. */
TAVIK_API int TavikSetKPSCredentials(const char* accessToken, const char* tokenType,
                                     const char* accountID);

/** Fills the record of one installed extension. */
TAVIK_API int TavikGetExtensionMetadataStruct(ExtensionHandle, TavikExtensionMetadata*);

#ifdef __cplusplus
}
#endif

#endif
