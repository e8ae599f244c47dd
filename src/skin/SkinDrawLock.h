#pragma once

// The process-wide skin drawing lock.
//
// It guards every skin image (the lazy load into a SkinBitmap and every read
// of its pixels) and serialises every skin draw, so that the user-interface
// thread and the screens' background refresh thread can both draw into the
// same screen buffer. Functions that draw or load take a `const
// SkinDrawGuard&` to say that the caller holds the lock; the few entry points
// without one take it themselves. It is not recursive: take one guard per
// drawing operation and pass it down.

#include <mutex>

namespace vantor {

class SkinDrawGuard {
public:
    SkinDrawGuard();
    SkinDrawGuard(const SkinDrawGuard&) = delete;
    SkinDrawGuard& operator=(const SkinDrawGuard&) = delete;

private:
    std::lock_guard<std::mutex> lock_;
};

}  // namespace vantor
