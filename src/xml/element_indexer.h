#pragma once

#include <string>

#include "xml/elem_pos_array.h"
#include "xml/scanner.h"

namespace orv {

class TrailingCopy;

/// Builds the records of the elements of one text, from the cursor to its end. They become children
/// of the record `base`, which has none; new records are taken at `*free`, result entries go to
/// `result`. Returns the first element, 0 for none. The time taken is proportional to the text
/// whatever it holds. `copy`, null for none, is one of this text and follows.
int IndexElements(ElemPosArray& elements, int* free, int base, const TokenPos& token,
                  std::wstring& result, TrailingCopy* copy = nullptr);

}  // namespace orv
