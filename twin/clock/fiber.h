// Fibers: stacks of their own that take turns on one thread.
#pragma once

namespace twin {

struct Fiber;

// Makes a fiber that will run `entry(argument)` when first resumed. It lives as long as the
// process.
Fiber* makeFiber(void (*entry)(void*), void* argument);

// Runs the fiber until it yields or its entry returns. Not from inside a fiber.
void resumeFiber(Fiber& fiber);

// Goes back to whoever resumed `fiber`, which must be the running one.
void yieldFiber(Fiber& fiber);

}  // namespace twin
