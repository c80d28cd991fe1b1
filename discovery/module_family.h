#pragma once

#include <cstdint>

// Modules of a family take the same commands. Whoever decides by family does so in a `switch`
// without a `default`, so that a new family does not compile until every decision is made.
enum class ModuleFamily { kUnknown, kEvdo, kHspa };

// The family of a USB product id.
ModuleFamily familyOf(std::uint32_t productId);

// Product id of the module being served; written by the dispatcher alone, 0 before the first.
extern std::uint32_t gCardModel;
