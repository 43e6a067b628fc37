#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "platform/core/status/Status.h"

namespace tavik::testing {

/// What these tests write is safe unless they change it, whatever umask they are started with.
inline const mode_t kUmaskBefore = ::umask(022);

/// Expects `action` to throw the Error of `status` with `text` in its words, or nothing for
/// success.
template <class Action>
void expectStatus(Status status, const std::string& text, Action action) {
    try {
        action();
        EXPECT_EQ(status, Status::success) << "nothing was refused";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), static_cast<int>(status)) << error.what();
        EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
    }
}

}  // namespace tavik::testing
