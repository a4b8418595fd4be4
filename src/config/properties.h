#pragma once

#include <span>
#include <string_view>

#include "config/property.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "xml/child_reader.h"
#include "xml/markup_state.h"

/// The convention that every section of a configuration file follows: a `properties` element with
/// any number of `property` children, the key in the attribute `name`, the value as the text. Keys
/// compare case-insensitively for ASCII letters.

namespace orv {

/// Enters the next child of this name; false, with the position unchanged, if none follows.
inline bool IntoChild(CMarkup& xml, const wchar_t* name) {
  return xml.FindChildElem(name) && xml.IntoElem();
}

/// How a property begins.
inline constexpr std::wstring_view kPropertyOpening = L"<property name=\"";

/// Calls `use(name, value)` for each `property` child of an element, in document order; the
/// position does not move. The views are valid during the call.
template <typename Use>
void ForEachProperty(const CMarkup& xml, int element, Use use) {
  ChildReader properties(CursorOf(xml), element, kPropertyOpening);
  std::wstring_view name;
  std::wstring_view value;
  while (properties.Next({}, &name, &value)) use(name, value);
}

/// The same for the main element.
template <typename Use>
void ForEachProperty(const CMarkup& xml, Use use) {
  ForEachProperty(xml, CursorOf(xml).Main(), use);
}

/// Stores each `property` child of an element in `record` by the record's table, and calls
/// `unknown(name, value)` for each key that the table does not have.
template <typename Record, typename Unknown>
void StoreProperties(const CMarkup& xml, int element, std::span<const Property<Record>> table,
                     Record& record, Unknown unknown) {
  ChildReader properties(CursorOf(xml), element, kPropertyOpening);
  PropertyStore<Record> store(table, record);
  std::wstring_view name;
  std::wstring_view value;
  while (properties.Next(store.ExpectedKey(), &name, &value)) {
    if (!store.Store(name, value)) unknown(name, value);
  }
}

/// Warns of an unknown key in the properties at `path`.
inline void WarnOfUnknownProperty(CLoggerClient* logger, const wchar_t* path,
                                  std::wstring_view name, std::wstring_view value) {
  if (!CLogger::IsEnabled(eLogLevelWarning, nullptr)) return;  // before anything is copied
  LogFormat(eLogLevelWarning, logger, nullptr, L"Unknown property in %ls: %ls = %ls", path,
            CString(name).c_str(), CString(value).c_str());
}

/// Stores the properties of the main element in `record` and warns of unknown ones. `path` is that
/// of the element, as messages show it.
template <typename Record>
void StoreOrWarn(const CMarkup& xml, std::span<const Property<Record>> table, const wchar_t* path,
                 Record& record, CLoggerClient* logger) {
  StoreProperties(xml, CursorOf(xml).Main(), table, record,
                  [&](std::wstring_view name, std::wstring_view value) {
                    WarnOfUnknownProperty(logger, path, name, value);
                  });
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
  StoreOrWarn(xml, table, path, record, logger);
  xml.OutOfElem();
  return {};
}

}  // namespace orv
