#pragma once

namespace tavik {

/// While one lives, the process holds a secret: it leaves no memory dump, and other processes of
/// the same user may not look into its memory. Several may live at a time; from any thread.
class Undumpable {
  public:
    Undumpable() noexcept;
    ~Undumpable();
    Undumpable(const Undumpable& /*other*/) noexcept : Undumpable() {}
    Undumpable& operator=(const Undumpable&) noexcept = default;
};

}  // namespace tavik
