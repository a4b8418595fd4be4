#include "orv/xml/attributes.h"

namespace orv {

bool FindAttribute(std::wstring_view text, std::size_t nameStart, std::wstring_view name,
                   bool ignoreCase, Attribute* attribute) {
  AttributeCursor cursor(text, nameStart);
  while (cursor.Next(attribute)) {
    if (!attribute->name.empty() && SameName(attribute->name, name, ignoreCase)) return true;
  }
  return false;
}

}  // namespace orv
