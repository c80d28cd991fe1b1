#pragma once

#include <cstdint>

#include "platform/simulated/registry_model.h"

// How a path leads through a plane. Private to this folder.
namespace simulated {

// The node that a path leads to, or kNone. `path` is what stands behind "PLANE:/": an empty one
// leads to the plane's first child, and any other leads on from there, one component for each
// child, with "/" between them (one at the end is passed over).
//
// A component is a name, a name with "@" and a location, or "@" and a location alone. A child's
// name is compared whole, as it may itself hold "/", "@" and ":". A location is hexadecimal numbers
// with commas between them, compared as numbers; those that are left out at its end are 0. The
// first child that fits is taken, and none behind it is tried, wherever the path leads then.
std::uint32_t findNode(const Model& model, const Plane& plane, const char* path);

}  // namespace simulated
