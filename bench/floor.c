// The floor of an install: writes COUNT files of SIZE bytes, a hundred in a folder, below FOLDER,
// and makes them durable with one syncfs. Usage: floor FOLDER COUNT SIZE
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static int fail(const char* what) {
    perror(what);
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 4)
        return fputs("usage: floor FOLDER COUNT SIZE\n", stderr), 2;
    const long count = strtol(argv[2], NULL, 10);
    const size_t size = strtoul(argv[3], NULL, 10);
    char* content = malloc(size + 1);
    if (content == NULL)
        return fail("malloc");
    memset(content, 'x', size);
    char path[4096];
    for (long i = 0; i < count; ++i) {
        snprintf(path, sizeof path, "%s/folder%03ld", argv[1], i / 100);
        if (i % 100 == 0 && mkdir(path, 0755) != 0)
            return fail(path);
        snprintf(path, sizeof path, "%s/folder%03ld/file%05ld", argv[1], i / 100, i);
        const int file = open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (file < 0 || write(file, content, size) != (ssize_t)size || close(file) != 0)
            return fail(path);
    }
    const int folder = open(argv[1], O_RDONLY | O_DIRECTORY);
    if (folder < 0 || syncfs(folder) != 0)
        return fail(argv[1]);
    free(content);
    return 0;
}
