#include "platform/support/Ownership.h"

#include <unistd.h>

namespace tavik {

bool isOurs(const struct stat& info) noexcept {
    return info.st_uid == 0 || info.st_uid == ::geteuid();
}

bool othersMayWrite(const struct stat& info) noexcept {
    return (info.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

bool isSticky(const struct stat& info) noexcept {
    return othersMayWrite(info) && (info.st_mode & S_ISVTX) != 0;
}

}  // namespace tavik
