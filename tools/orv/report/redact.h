#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orv::tool {

/// Replaces the names of users, computers and documents in texts, each always by the same word,
/// such as USER-1. The names are those in paths, in `USER@COMPUTER`, and after words such as "user"
/// and "document" where a quote, a colon or an equals sign shows where they begin. A number after
/// such a word is not a name.
///
///   for (const std::wstring& text : texts) redactor.Learn(text);
///   for (std::wstring& text : texts) text = redactor.Redacted(text);
class Redactor {
 public:
  enum Kind : std::size_t { kUser, kComputer, kDocument, kKindCount };

  /// Finds the names in a text.
  void Learn(std::wstring_view text);
  /// Adds a name that is not in a path.
  void Add(Kind kind, std::wstring_view name) { Add(kind, name, {}); }
  /// Adds the name of a file that a user has named.
  void AddFile(std::wstring_view path);

  /// Replaces the names that were found.
  std::wstring Redacted(std::wstring_view text);

 private:
  struct Name {
    std::wstring lowerCase;
    Kind kind;
    std::wstring ending;  ///< of a file, which stays
    std::wstring word;    ///< what replaces it, empty until it is used
  };

  void Add(Kind kind, std::wstring_view name, std::wstring_view ending);
  /// `isWhole`: nothing follows the path, so that blanks at its end belong to it.
  void LearnPath(std::wstring_view path, bool isWhole);
  void LearnComputers(std::wstring_view path);
  void LearnAddresses(std::wstring_view text);
  void LearnLabelled(std::wstring_view text);
  Name* FindAt(std::wstring_view lowerCase, std::size_t at);

  std::vector<Name> names_;  ///< longer ones first
  std::array<std::size_t, kKindCount> counts_{};
};

}  // namespace orv::tool
