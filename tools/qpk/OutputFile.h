#pragma once

#include <string>

#include "platform/core/disk/AtomicFile.h"
#include "tools/qpk/InputFile.h"

namespace tavik::qpk {

/// A file that an author asked for. Only a regular file is replaced. If the name is a link, the
/// link is refused, or it stays and its target is replaced.
class OutputFile final : public AtomicFile {
  public:
    OutputFile(const std::string& path, FinalLink link);
};

}  // namespace tavik::qpk
