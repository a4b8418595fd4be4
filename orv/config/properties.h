#pragma once

#include <span>
#include <string>
#include <string_view>

#include "orv/config/property.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "orv/xml/markup_reader.h"

/// The convention that every section of a configuration file follows: a `properties` element with
/// any number of `property` children, the key in the attribute `name`, the value as the text. Keys
/// compare without regard to ASCII case.

namespace orv {

/// Steps into the next child of this name; false, and no step, when there is none.
inline bool IntoChild(CMarkup& xml, const wchar_t* name) {
  return xml.FindChildElem(name) && xml.IntoElem();
}

/// Calls `use(name, value)` for each `property` child of the main element, in document order, and
/// moves no position. The views are valid during the call.
template <typename Use>
void ForEachProperty(const CMarkup& xml, Use use) {
  const MarkupReader reader(xml);
  std::wstring nameBuffer;
  std::wstring valueBuffer;
  constexpr std::wstring_view kTagName = L"property";
  constexpr std::wstring_view kKey = L"name";
  for (int child = 0; (child = reader.NextChild(child, kTagName)) != 0;) {
    std::wstring_view name;
    reader.AttribOf(child, kTagName, kKey, &nameBuffer, &name);
    use(name, reader.DataOf(child, &valueBuffer));
  }
}

/// Warns of a key that the properties at `path` do not know.
inline void WarnOfUnknownProperty(CLoggerClient* logger, const wchar_t* path,
                                  std::wstring_view name, std::wstring_view value) {
  if (!CLogger::IsEnabled(eLogLevelWarning, nullptr)) return;  // before anything is copied
  LogFormat(eLogLevelWarning, logger, nullptr, L"Unknown property in %ls: %ls = %ls", path,
            CString(name).c_str(), CString(value).c_str());
}

/// The message for an element that a file must have; `path` ends with the element itself.
inline CString MissingElement(const wchar_t* path) {
  return Format(L"Required element %ls was not found!", path);
}

/// Reads the `properties` child of the main element into `record` by the section's table. `path` is
/// that of the `properties` element, as messages show it. Returns an error text, empty on success.
template <typename Record>
CString ReadProperties(CMarkup& xml, std::span<const Property<Record>> table, const wchar_t* path,
                       Record& record, CLoggerClient* logger) {
  if (!IntoChild(xml, L"properties")) return MissingElement(path);
  PropertyStore<Record> properties(table, record);
  ForEachProperty(xml, [&](std::wstring_view name, std::wstring_view value) {
    if (!properties.Store(name, value)) {
      WarnOfUnknownProperty(logger, path, name, value);
    }
  });
  xml.OutOfElem();
  return {};
}

}  // namespace orv
