#include "tools/qpk/Command.h"

namespace tavik::qpk {

const std::vector<const Command*>& allCommands() {
    static const std::vector<const Command*> commands = {&kPackCommand, &kCheckCommand,
                                                         &kShowCommand, &kKeygenCommand,
                                                         &kSignCommand, &kFeedCommand};
    return commands;
}

}  // namespace tavik::qpk
