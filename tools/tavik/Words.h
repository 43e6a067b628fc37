#pragma once

#include <string>

#include "platform/core/status/Texts.h"

namespace tavik::front {

/// The tool's own words, in the languages of the causes.
enum class Word {
    id,
    name,
    version,
    state,
    scope,
    products,
    signer,
    update,
    folder,
    feed,
    links,
    files,
    installed,
    product,
    offered,
    time,
    change,
    user,
    problem,
    path,
    enabled,
    disabled,
    masked,
    forUser,
    forAllUsers,
    notHere,
    doesNotFit,
    nothingToDo,
    didInstall,
    didUpdate,
    didReinstall,
    didRemove,
    didEnable,
    didDisable,
    didMask,
    didUnmask,
};

const char* word(Word word, Language language) noexcept;

/// What to do about a status, with this tool's own commands.
const char* remedyFor(int status, Language language) noexcept;

/// The status's name, as the list of statuses has it.
const char* nameOf(int status) noexcept;

}  // namespace tavik::front
