#pragma once

/// Faults on demand, for tests of what becomes of a call when something that it needs fails. Linked
/// into a program, this counts the program's allocations and, on Linux, its calls to the system and
/// to the services that stand for the system, and lets the planned ones fail.
///
/// Without the standard library's headers: they declare what is replaced.

namespace orv::test::faults {

enum class Kind {
  kAllocation,  ///< memory from `new`, and from the C library where the library asks it for some
  kCall,        ///< files, locks, folders, the cipher, what the settings store needs
  kShortWrite,  ///< a write that takes half of what it is given, as on a disk that fills up
};
inline constexpr Kind kKinds[] = {Kind::kAllocation, Kind::kCall, Kind::kShortWrite};

enum class Mode { kOnce, kFromThenOn };

/// The n-th from now on of a kind fails, n from 1, and in the second mode all behind it as well.
struct Plan {
  Kind kind;
  int n;
  Mode mode;
};

/// The plan is in force as long as the object lives. One at a time.
class Armed {
 public:
  explicit Armed(const Plan& plan);
  Armed& operator=(Armed&&) = delete;
  ~Armed();

  /// Whether anything has failed.
  bool HasFired() const;
};

/// For what is replaced: counts one of a kind and says whether it fails.
bool Fails(Kind kind);

/// What `malloc` gives, or null when it is planned to fail.
void* Allocate(decltype(sizeof 0) size);

/// What `new` gave and nobody has given back.
long LiveBlocks();
/// The files, or on Windows the handles of the system, that the process holds.
long OpenFiles();
/// Files that could not be removed because of a fault, ever.
long FilesNotRemoved();

}  // namespace orv::test::faults
