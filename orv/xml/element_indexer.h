#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orv/xml/elem_pos_array.h"
#include "orv/xml/markup_masks.h"
#include "orv/xml/open_names.h"
#include "orv/xml/scanner.h"

namespace orv {

/// Builds the records of the elements of one text. Open elements are known by their records alone,
/// so nothing is copied; the time taken is proportional to the text whatever it holds.
class ElementIndexer {
 public:
  /// The elements found become children of the record `base`. New records are taken at `*free`;
  /// result entries go to `result`.
  ElementIndexer(ElemPosArray& elements, int* free, int base, const TokenPos& token,
                 std::wstring& result);

  /// Indexes the text from the cursor to its end; returns the first element, 0 for none.
  int Run();

 private:
  void OpenElement(int start, int length);
  void EndTag(int start, int length);
  void EndTagOfOther(int start, int length);
  /// The innermost open element that an end tag of this name closes, -1 when there is none.
  int FindOpen(std::wstring_view name);
  void CloseElement(int end, int endTagLength);
  void CloseUnended(int until, int expectedAt);
  void AddError(const NodePos& node);
  int NextTagEnd(int tag);

  std::wstring_view OpenName(int element) const {
    return TagName(static_cast<int>(elements_[element].start));
  }
  std::wstring_view TagName(int start) const;

  ElemPosArray& elements_;
  int* free_;
  const int base_;
  int parent_;  ///< the innermost open element; `base_` when none is open
  int depth_ = 0;
  int firstElement_ = 0;
  TokenPos token_;
  const wchar_t* const text_;
  const bool ignoreCase_;
  const std::uint32_t baseLevel_;
  std::wstring& result_;
  MarkupMasks masks_;
  std::optional<OpenNames> openNames_;  ///< kept from the first long search on
};

}  // namespace orv
