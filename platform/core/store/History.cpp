#include "platform/core/store/History.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

#include "platform/core/disk/Stamp.h"

namespace tavik {

const char* nameOf(Operation operation) noexcept {
    switch (operation) {
        case Operation::install:
            return "install";
        case Operation::update:
            return "update";
        case Operation::reinstall:
            return "reinstall";
        case Operation::remove:
            return "remove";
        case Operation::enable:
            return "enable";
        case Operation::disable:
            return "disable";
        case Operation::mask:
            return "mask";
        case Operation::unmask:
            return "unmask";
        case Operation::repair:
            return "repair";
    }
    return "";
}

Actor currentActor() {
    Actor actor;
    const uid_t number = ::geteuid();
    actor.number = number;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> users(::fopen("/etc/passwd", "re"),
                                                                &::fclose);
    while (const passwd* user = users ? ::fgetpwent(users.get()) : nullptr)
        if (user->pw_uid == number) {
            actor.name = user->pw_name;
            break;
        }
    return actor;
}

HistoryLine newLine(Operation operation, const std::string& id, const std::string& name) {
    HistoryLine line;
    line.time = timeNow();
    line.operation = nameOf(operation);
    line.id = id;
    line.name = name;
    line.by = currentActor();
    return line;
}

}  // namespace tavik
