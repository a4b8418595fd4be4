#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"

/// Changes the text of a configuration file: signs it, follows proposals and sets values.

namespace orv::tool {

/// A file that a command changes.
struct EditedConfig {
  std::wstring path;
  std::wstring text;
  bool isProtected;
};

/// Reads a file. Ends the command when it cannot be read, or contains bytes that are not UTF-8,
/// which writing it would lose.
EditedConfig OpenForEdit(const std::wstring& path);

/// Writes a file in the form in which it was read.
void SaveEdited(const EditedConfig& file);

/// Replaces the digest by the right one; adds it if it is missing. Ends the command when the text
/// is not well-formed or has no property to add the digest after.
void Sign(EditedConfig* file);

/// Follows the first proposal that can be followed until there is none, then signs the file if it
/// has another text or its digest is wrong. `check` returns the findings of a text. Ends the
/// command like `Sign`.
void FollowProposals(EditedConfig* file,
                     const std::function<std::vector<Finding>(const std::wstring&)>& check);

/// Sets a property. `key` is its name, alone or after the name of an element around it and a dot;
/// `line` selects one of several, 0 for none. Ends the command when the file has no such property
/// or several, and, unless `isForced`, when the checker finds a fault in the value.
void SetProperty(EditedConfig* file, const std::wstring& key, const std::wstring& value, int line,
                 bool isForced);

/// The property whose value is at an offset of a text, as in the checker's findings.
FoundProperty PropertyWithValueAt(const std::wstring& text, int offset);

}  // namespace orv::tool
