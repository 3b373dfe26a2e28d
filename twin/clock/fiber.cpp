#include "twin/clock/fiber.h"

#include <boost/context/fiber.hpp>
#include <boost/context/fixedsize_stack.hpp>
#include <boost/context/preallocated.hpp>
#include <cstddef>
#include <memory>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif
#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace twin {

struct Fiber {
    boost::context::fiber self;
    boost::context::fiber resumer;
    void (*entry)(void*) = nullptr;
    void* argument = nullptr;
    const void* stackBottom = nullptr;
    std::size_t stackSize = 0;
    const void* resumerBottom = nullptr;
    std::size_t resumerSize = 0;
    void* ownMark = nullptr;      // what the sanitizer keeps for this fiber
    void* resumerMark = nullptr;  // and for the thread that resumes it
};

namespace {

// Taken from the heap, so that a leak checker sees what the fibers hold; pages are used only where
// a fiber's calls reach.
constexpr std::size_t kStackBytes = std::size_t{512} * 1024;

// The sanitizers have to be told of every change of stack; without them these four are empty.

void beforeResume([[maybe_unused]] Fiber& fiber) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_start_switch_fiber(&fiber.resumerMark, fiber.stackBottom, fiber.stackSize);
#elif defined(__SANITIZE_THREAD__)
    if (fiber.ownMark == nullptr) {
        fiber.ownMark = __tsan_create_fiber(0);
    }
    fiber.resumerMark = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(fiber.ownMark, 0);
#endif
}

void afterResume([[maybe_unused]] Fiber& fiber) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_finish_switch_fiber(fiber.resumerMark, nullptr, nullptr);
#endif
}

void beforeYield([[maybe_unused]] Fiber& fiber, [[maybe_unused]] bool forGood) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_start_switch_fiber(forGood ? nullptr : &fiber.ownMark, fiber.resumerBottom,
                                   fiber.resumerSize);
#elif defined(__SANITIZE_THREAD__)
    __tsan_switch_to_fiber(fiber.resumerMark, 0);
#endif
}

void afterYield([[maybe_unused]] Fiber& fiber) {
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_finish_switch_fiber(fiber.ownMark, &fiber.resumerBottom, &fiber.resumerSize);
#endif
}

}  // namespace

Fiber* makeFiber(void (*entry)(void*), void* argument) {
    boost::context::fixedsize_stack allocator(kStackBytes);
    const boost::context::stack_context stack = allocator.allocate();
    auto* const fiber = new Fiber;
    fiber->entry = entry;
    fiber->argument = argument;
    fiber->stackBottom = static_cast<const char*>(stack.sp) - stack.size;
    fiber->stackSize = stack.size;
    fiber->self = boost::context::fiber(std::allocator_arg,
                                        boost::context::preallocated(stack.sp, stack.size, stack),
                                        allocator, [fiber](boost::context::fiber&& resumer) {
                                            afterYield(*fiber);
                                            fiber->resumer = std::move(resumer);
                                            fiber->entry(fiber->argument);
                                            beforeYield(*fiber, true);
                                            return std::move(fiber->resumer);
                                        });
    return fiber;
}

void resumeFiber(Fiber& fiber) {
    beforeResume(fiber);
    fiber.self = std::move(fiber.self).resume();
    afterResume(fiber);
}

void yieldFiber(Fiber& fiber) {
    beforeYield(fiber, false);
    fiber.resumer = std::move(fiber.resumer).resume();
    afterYield(fiber);
}

}  // namespace twin
