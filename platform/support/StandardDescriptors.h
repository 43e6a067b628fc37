#pragma once

namespace tavik {

/// Keeps the numbers of standard input, output and error from being given to files: where one of
/// them is closed, it becomes a descriptor that cannot be written. Otherwise a message would go
/// into whatever file is opened first. Called as a program starts, before it opens anything.
void reserveStandardDescriptors() noexcept;

}  // namespace tavik
