#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orv/platform/export.h"
#include "orv/xml/line_index.h"

/// A check against all rules of XML 1.0 and its namespaces, including those that `CMarkup` does not
/// enforce.
///
///     for (const orv::StrictFault& fault : orv::CheckStrict(L"<r a=1>A & B</r>")) {
///       // 1:6: the value is not in quotes: 1; write "1"
///       // 1:10: this '&' begins no reference; write &amp;
///       Use(fault.at.line, fault.at.column, fault.text, fault.fix);
///     }

namespace orv {

/// A rule. The last four concern the structure of the document.
enum class StrictRule {
  kInvalidMarkup,         ///< a `<` that is not valid markup
  kIncompleteMarkup,      ///< markup that the end of the text cuts off
  kLessThanInTag,         ///< a `<` in a tag, outside its values
  kBareAmpersand,         ///< an `&` that begins no reference
  kUndeclaredEntity,      ///< a reference to an entity that the document does not declare
  kInvalidReference,      ///< a reference that is not allowed at this place
  kInvalidCharacter,      ///< a control character, half a surrogate pair, U+FFFE or U+FFFF
  kInvalidName,           ///< a name with a character that names do not contain
  kDuplicateAttribute,    ///< an attribute that the element already has
  kMissingValue,          ///< an attribute without a value
  kUnquotedValue,         ///< an attribute value without quotes
  kMissingSpace,          ///< no white space before an attribute
  kLessThanInValue,       ///< a `<` in an attribute value
  kTextInEndTag,          ///< an end tag with more than a name
  kTextOutsideRoot,       ///< text, a reference or a CDATA section outside the root element
  kHyphensInComment,      ///< `--` in a comment
  kCDataEndInText,        ///< `]]>` in text
  kMisplacedDeclaration,  ///< an XML declaration that is not at the start of the text
  kInvalidDeclaration,    ///< an XML declaration without a valid version, encoding and standalone
  kMisplacedDoctype,      ///< a document type declaration after another one or after the root
  kInvalidDoctype,        ///< anything else invalid in a document type declaration
  kUndeclaredPrefix,      ///< a namespace prefix that is not declared
  kInvalidNamespace,      ///< a declaration of a reserved prefix or namespace, or of an empty one
  kUnmatchedEndTag,       ///< an end tag that closes no open element; letter case counts
  kUnclosedElement,       ///< an element without an end tag
  kSecondRoot,            ///< an element after the root element
  kNoRoot,                ///< no root element
};

/// A violation of a rule.
struct StrictFault {
  StrictRule rule;       ///< the rule
  int offset;            ///< where the wrong text begins, in code units
  int length;            ///< how long it is
  TextPosition at;       ///< the line and column of the offset
  std::wstring text;     ///< what is wrong
  std::wstring allowed;  ///< what is allowed there
  std::wstring fix;      ///< what to write instead; "nothing" to remove the wrong text
};

/// Finds the violations in a text of UTF-16 code units, at most 1,000. The result is empty if the
/// document is well-formed, for namespaces too. Those of the structure follow the others, rule by
/// rule; within that, the order is that of the text. A violation that only results from another one
/// is left out. What follows the first 2,147,483,647 units is not read.
///
/// Of the declarations in a document type, those of entities are checked; of the others only the
/// keyword and the characters. The text of an entity is checked for invalid references, but not as
/// markup. References to entities are not checked if declarations may be in other files. A prefix
/// that is declared by the default of an attribute counts as declared in every element.
///
/// Takes time linear in the text, except that the attributes of a tag are sorted. Holds the open
/// elements, the declared entities and namespaces, the attributes of one tag, and one number for
/// each line if there are violations. Any thread may call it; it throws only if memory runs out.
ORV_EXPORT std::vector<StrictFault> CheckStrict(std::wstring_view text);

}  // namespace orv
