/* A host application's side of the extensions: prints what it would load, "ID FOLDER" a line.
 *
 *   host USER_STORE SHARED_STORE PRODUCT [EXTENSIONS_FOLDER]
 *
 * The stores are family folders, as ~/.local/share/tavik/QZ and /var/lib/tavik/QZ.
 * EXTENSIONS_FOLDER is the descriptor's: one that begins with "/" serves both stores, one below the
 * home folder takes the place of the user's alone. */
#include <dirent.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

/* Whether the folder has an entry for this id; ids that differ in letter case alone are the same.
 */
static int has(const char* folder, const char* id) {
    DIR* entries = opendir(folder);
    const struct dirent* entry;
    int found = 0;
    while (entries && !found && (entry = readdir(entries)))
        found = strcasecmp(entry->d_name, id) == 0;
    if (entries)
        closedir(entries);
    return found;
}

/* Prints the links in `folder`, without the ids that `hidden` or `disabled` has. */
static void load(const char* folder, const char* hidden, const char* disabled) {
    struct dirent** entries = NULL;
    const int count = scandir(folder, &entries, NULL, alphasort);
    for (int i = 0; i < count; ++i) {
        const char* id = entries[i]->d_name;
        char link[PATH_MAX], target[PATH_MAX];
        snprintf(link, sizeof link, "%s/%s", folder, id);
        if (id[0] != '.' && !has(hidden, id) && !has(disabled, id) && realpath(link, target))
            printf("%s %s\n", id, target);
        free(entries[i]);
    }
    free(entries);
}

int main(int argc, char** argv) {
    char users[PATH_MAX], shared[PATH_MAX], disabled[PATH_MAX];
    if (argc < 4)
        return fprintf(stderr, "usage: %s USER_STORE SHARED_STORE PRODUCT [FOLDER]\n", argv[0]), 2;
    snprintf(users, sizeof users, "%s/products/%s/extensions", argv[1], argv[3]);
    snprintf(shared, sizeof shared, "%s/products/%s/extensions", argv[2], argv[3]);
    snprintf(disabled, sizeof disabled, "%s/products/%s/disabled", argv[1], argv[3]);
    if (argc > 4)
        snprintf(users, sizeof users, "%s", argv[4]);
    load(users, "", argc > 4 ? disabled : "");
    load(shared, users, disabled);
    return 0;
}
