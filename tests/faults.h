#pragma once

/// Fault injection for tests. Linked into a program, this counts its allocations and its calls to
/// the system, on Linux also those to the services that replace Windows services, and makes the
/// planned ones fail.
///
/// Includes no headers of the standard library: they declare the functions that are replaced.

namespace orv::test::faults {

enum class Kind {
  kAllocation,  ///< `new`, and the library's own calls of `malloc` and the like
  kCall,        ///< files, locks, folders, the cipher, the settings store
  kShortWrite,  ///< a write that accepts half of the data, as on a full disk
};
inline constexpr Kind kKinds[] = {Kind::kAllocation, Kind::kCall, Kind::kShortWrite};

enum class Mode { kOnce, kFromThenOn };

/// Which operations of a kind fail: the n-th from now on, n from 1; in the second mode also all
/// later ones.
struct Plan {
  Kind kind;
  int n;
  Mode mode;
};

/// Activates a plan while the object exists. One at a time.
class Armed {
 public:
  explicit Armed(const Plan& plan);
  Armed& operator=(Armed&&) = delete;
  ~Armed();

  /// Whether a fault has occurred.
  bool HasFired() const;
  /// How many operations of the kind there were.
  int Count() const;
};

/// For the replaced functions: counts an operation of a kind and returns whether it must fail.
bool Fails(Kind kind);

/// Calls `malloc`, or returns null if it is planned to fail.
void* Allocate(decltype(sizeof 0) size);

/// A local time.
struct Time {
  int year, month, day, hour, minute, second;
};
/// Lets the system's clock stand still at a time, for what reads it through the system's functions
/// for local time; null lets it run. Waiting and file times are not affected.
void SetClock(const Time* time);

/// Blocks from `new` that have not been released.
long LiveBlocks();
/// The process's open files; on Windows, its open handles.
long OpenFiles();
/// How many files could not be removed because of a fault, in total.
long FilesNotRemoved();

}  // namespace orv::test::faults
