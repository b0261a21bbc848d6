#pragma once

// How many calls on this thread may have changed a container's contents: stores and removals in
// dictionaries (what VXDictionary::changeCount() counts), and every call that may change an
// array's elements. Changes made through a dictionary's valueAt() or valuePointer() are not
// counted. A reader that finds the number where it left it knows that no container this thread
// can reach changed since.

#include <cstdint>

std::uint64_t VXContainerChangesOnThisThread() noexcept;
