// What threads share is read and written in steps: a word, a lock, a text. In the build that
// explores interleavings (KESTREL_EXPLORE) a function that a campaign provides is called before
// each step, and may let another thread go on there; in every other build nothing of that remains.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>

#ifdef KESTREL_EXPLORE

// Called before each step; null until a campaign sets it.
using SharedStepHook = void (*)();
inline constinit SharedStepHook gBeforeSharedStep = nullptr;

inline void beforeSharedStep() {
    if (gBeforeSharedStep != nullptr) {
        gBeforeSharedStep();
    }
}

// A word that threads share: as much of std::atomic as the daemon uses.
template <typename T>
class Shared {
public:
    constexpr Shared() = default;
    // Implicit, as std::atomic's.
    constexpr Shared(T value) : word_(value) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T load() const {
        beforeSharedStep();
        return word_.load();
    }
    operator T() const {
        return load();
    }
    T operator=(T value) {
        beforeSharedStep();
        return word_ = value;
    }
    bool compare_exchange_strong(T& expected, T desired) {
        beforeSharedStep();
        return word_.compare_exchange_strong(expected, desired);
    }
    T exchange(T value) {
        beforeSharedStep();
        return word_.exchange(value);
    }
    T fetch_or(T bits) {
        beforeSharedStep();
        return word_.fetch_or(bits);
    }
    T fetch_and(T bits) {
        beforeSharedStep();
        return word_.fetch_and(bits);
    }

private:
    std::atomic<T> word_ = T{};
};

// So many bytes may be copied or cleared before another thread sees the rest.
inline constexpr std::size_t kTornAfter = 4;

#else

inline void beforeSharedStep() {}

template <typename T>
using Shared = std::atomic<T>;

#endif

// Copies a text that another thread may reach, or into one.
inline void copySharedText(char* to, const char* from, std::size_t size) {
#ifdef KESTREL_EXPLORE
    const std::size_t torn = size < kTornAfter ? size : kTornAfter;
    std::memcpy(to, from, torn);
    beforeSharedStep();
    std::memcpy(to + torn, from + torn, size - torn);
#else
    std::memcpy(to, from, size);
#endif
}

// Clears a text that another thread may reach.
inline void clearSharedText(char* text, std::size_t size) {
#ifdef KESTREL_EXPLORE
    const std::size_t torn = size < kTornAfter ? size : kTornAfter;
    std::memset(text, 0, torn);
    beforeSharedStep();
    std::memset(text + torn, 0, size - torn);
#else
    std::memset(text, 0, size);
#endif
}
