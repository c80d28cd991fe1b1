#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/io_registry.h"
#include "platform/simulated/simulated_values.h"

// The in-memory registry behind the seam, for tests and for whoever fills it.
namespace simulated {

// Empties the registry and forgets all faults. From then on it is the test's own: no station root
// is looked at.
void ClearRegistry();

struct EntryDescription {
    std::string name;
    std::string className;
    std::string location = "";
    std::uint64_t id = 0;  // the same id in two planes is one entry; 0: an entry of its own
};

// An entry of the registry; it stays as long as the registry is not cleared. Not a counted
// reference.
using Entry = std::size_t;
constexpr Entry kRoot = static_cast<Entry>(-1);

// Adds a child of `parent` (kRoot: the plane's root) to the plane, and makes the plane if it is
// new. `parent` must be in the plane.
Entry AddEntry(const char* plane, Entry parent, const EntryDescription& description);

// Takes over the reference to `value`.
void SetProperty(Entry entry, const char* name, property::Value value);

// One counted reference to the entry, as the registry hands it out.
registry::Object HandOut(Entry entry);

enum class Call {
    kMasterPort,
    kServiceMatching,
    kGetMatchingServices,
    kCreateIterator,
    kSetProperty,
    kCount,
};
// Makes the call fail with `code` after `passes` good ones, until the registry is cleared. A
// matching that fails gives no dictionary.
void FailCall(Call call, std::int32_t code, int passes = 0);

// Invalidates, once, the next iterator that has handed out `entries` entries. Until it is reset it
// hands out nothing, or, with `lastOne`, one last entry.
void InvalidateIterator(int entries, bool lastOne = false);

// From now on, until the registry is cleared, a matching or a walk that would find nothing gives
// the iterator 0, with success.
void GiveNoEmptyIterators();

// References to entries and iterators that somebody still holds.
std::size_t LiveObjects();
// Releases and uses of objects that nobody holds; each is also told on standard error.
std::size_t Misuses();

}  // namespace simulated
