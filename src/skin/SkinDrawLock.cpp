#include "skin/SkinDrawLock.h"

namespace vantor {

namespace {

// Never destroyed: a worker may still draw while static objects go away.
std::mutex& DrawMutex() {
    static auto* mutex = new std::mutex;
    return *mutex;
}

}  // namespace

SkinDrawGuard::SkinDrawGuard() : lock_(DrawMutex()) {}

}  // namespace vantor
