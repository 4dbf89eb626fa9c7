// Waiting for a condition that another thread, a timer or another process brings about:
// poll it until it holds or a generous deadline passes, instead of sleeping a fixed time
// and hoping that it was long enough on this machine.
#pragma once

#include <chrono>
#include <thread>

// True as soon as condition() holds; false when it still does not after timeoutMs.
template <typename Condition> bool waitUntil(Condition condition, int timeoutMs = 20000) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (condition())
            return true;
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// Milliseconds since start on the steady clock.
inline long msSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
        .count();
}
