#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/orv/log/file.h"
#include "tools/orv/log/messages.h"

namespace orv::tool {

/// Entries of a log with the same level, source and message, apart from values such as numbers,
/// paths and names.
struct LogGroup {
  MessageParts parts;               ///< with the values of the first entry
  std::vector<std::size_t> hashes;  ///< of these values, which are cut
  std::vector<bool> varies;
  std::wstring level;
  std::wstring source;
  std::uint64_t count = 0;
  std::wstring first;  ///< as 2024-03-05T14:07:09.042
  std::wstring last;
  std::wstring rewritten = {};  ///< replaces the text unless empty

  /// The first entry's message; ", ..." follows each value that other entries have differently.
  std::wstring Text() const;
  /// Whether the entries need an action.
  bool IsProblem() const;
};

/// Groups the entries of a log. The memory does not depend on their number: after 1,000 kinds of
/// messages that the library does not write, the others form one group.
class LogSummary {
 public:
  void Add(const LogEntry& entry);

  /// The groups by level, errors first, and then by their number of entries.
  std::vector<const LogGroup*> Groups() const;
  /// A time of the log, such as the first one of a group, without the date if all entries are of
  /// one day.
  std::wstring TimeText(const std::wstring& isoTime) const;
  /// Lets `change` change the text of each group.
  void ChangeTexts(const std::function<void(std::wstring*)>& change);
  std::uint64_t entries() const { return entries_; }
  /// The number of entries of a level.
  std::uint64_t CountOf(const std::wstring& level) const;
  /// The groups whose causes a reader should know: errors and warnings that the catalogue has.
  /// Those that only follow from other entries are left out, unless there are no others.
  std::vector<const LogGroup*> Causes() const;

 private:
  std::map<std::wstring, LogGroup> groups_;
  std::uint64_t entries_ = 0;
  std::wstring firstDay_;
  bool isOneDay_ = true;
};

/// The groups as a table with the likely causes below it, and as an object.
std::string SummaryAsText(const LogSummary& summary);
std::string SummaryAsJson(const LogSummary& summary);

}  // namespace orv::tool
