#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// For callers that keep what they have made of the settings store's content: whether it is still
/// current.

namespace orv {

/// A number that changes whenever a hive may have another content than before, written by any
/// process. 0 if that cannot be found out: nothing may be kept then, as always on Windows. What was
/// read between two calls that return the same number belongs to it.
std::uint64_t RegistryVersion(HKEY hive);

/// A number for the values of a key: equal ones belong to equal values.
using RegistryStamp = std::uint64_t;

/// The stamps of which a caller has kept the values, and where it has them.
using KnownStamps = std::unordered_map<RegistryStamp, std::size_t>;

/// A sub-key, with its values unless its stamp is known.
struct StampedSubKey {
  RegistrySubKey subKey;
  RegistryStamp stamp = 0;  ///< 0 without one
  bool isKnown = false;
};

/// Reads all sub-keys of a key like `ReadRegistryKeys`, without the values of those whose stamps
/// are known.
LONG ReadChangedRegistryKeys(HKEY key, const KnownStamps& known,
                             std::vector<StampedSubKey>* subKeys);

}  // namespace orv
