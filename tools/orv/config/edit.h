#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"

/// Changes the text of a configuration file: signs it, follows proposals and sets values.

namespace orv::tool {

/// A file that a command changes.
struct EditedConfig {
  std::wstring path;
  std::wstring text;
  bool isProtected = false;
};

/// Why a file cannot be changed.
struct EditProblem {
  ExitCode exitCode;
  std::wstring text;
};
/// Ends the command if there is a problem.
void FailOn(const std::optional<EditProblem>& problem);

/// Reads a file. It is a problem if it contains bytes that are not UTF-8, which writing it would
/// lose.
std::optional<EditProblem> OpenForEdit(const std::wstring& path, EditedConfig* file);

/// Writes a file in the form in which it was read; ends the command when that fails.
void SaveEdited(const EditedConfig& file, Written written = Written::kChangedFile);

/// Replaces the digest by the right one; adds it if it is missing. It is a problem if the text is
/// not well-formed, has no property to add the digest after, or is too large to be loaded.
std::optional<EditProblem> Sign(EditedConfig* file);

/// Returns the findings of a text that count.
using FindingsOf = std::function<std::vector<Finding>(const std::wstring& text)>;

/// Applies the proposals that have no alternative until there are none, one after the other in each
/// section (repeated speeds at once), then signs the file if it has another text or its digest is
/// wrong.
std::optional<EditProblem> FollowProposals(EditedConfig* file, const FindingsOf& findingsOf);

/// Sets a property. `key` is its name, alone or after the name of an element around it and a dot;
/// `line` selects one of several, 0 for none. Ends the command unless there is exactly one.
void SetProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value,
                 int line = 0);

/// The same, but also ends the command when the checker has a new finding in the value, and prints
/// a note on those elsewhere.
void SetCheckedProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value,
                        int line);

/// Describes the first of a file's `findings` in the values of properties, or returns an empty
/// text. Those that are also in `before`, the findings of an earlier text, do not count.
std::wstring FaultOf(const EditedConfig& file, const std::vector<std::wstring>& keys, int line,
                     const std::vector<Finding>& before, const std::vector<Finding>& findings);

/// Prints a note on those of a file's `findings` that a change has caused elsewhere. Those that are
/// also in `before`, and those about the digest, do not count.
void NoteNewFindings(const EditedConfig& file, const std::vector<Finding>& before,
                     std::vector<Finding> findings);

/// The property whose value is at an offset of a text, as in the checker's findings.
FoundProperty PropertyWithValueAt(const std::wstring& text, int offset);

}  // namespace orv::tool
