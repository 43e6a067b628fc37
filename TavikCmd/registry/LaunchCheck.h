#pragma once

#include <string>

/// What may be started of a program that the application registry names.
struct LaunchCheck {
    std::string program;  ///< what to start; empty where there is nothing to start
    std::string refusal;  ///< why not, on one line; empty where nothing was refused
};

/// Takes an absolute path alone: what a relative one means would depend on the current folder.
/// Under root the file and every folder above it must also belong to root, and nobody else may be
/// able to write to them, since otherwise another user chooses what runs as root. A folder with the
/// sticky bit, such as /tmp, may be on the way, but neither the program nor a link may stand in
/// one. Links are followed before that is judged, and `program` is then the path without them.
LaunchCheck checkLaunch(const std::string& path);
