#include <utility>

#include "config/properties.h"
#include "config/property_tables.h"
#include "config/section_readers.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "xml/cursor.h"
#include "xml/markup_state.h"

/// Option families: one reader for the options of every kind, driven by the kind's table of keys.

namespace orv {
namespace {

/// Logs a warning that names the family by its type text.
template <typename Kind, typename... Arguments>
void Warn(CLoggerClient* client, const OptionFamily<Kind>& family, const wchar_t* format,
          const Arguments&... arguments) {
  LogFormat(eLogLevelWarning, client, nullptr, format, family.optionFamilyType.c_str(),
            arguments.c_str()...);
}

/// Reads what follows the properties of an option. Only the belt applicator has anything.
template <typename Kind>
CString ReadExtras(const CMarkup&, int, Kind&, CLoggerClient*) {
  return {};
}

template <>
CString ReadExtras(const CMarkup& markup, int properties, BeltApplicator& option,
                   CLoggerClient* client) {
  const Cursor& cursor = CursorOf(markup);
  const int conveyorSpeed = cursor.NextSibling(properties, L"conveyorSpeed");
  if (conveyorSpeed == 0) return MissingElement(L"<conveyorSpeed>");
  const int speeds = cursor.FirstChild(conveyorSpeed, L"properties");
  if (speeds == 0) return MissingElement(L"<conveyorSpeed><properties>");
  ForEachProperty(markup, speeds, [&](std::wstring_view name, std::wstring_view value) {
    if (EqualsIgnoringAsciiCase(name, L"conveyorSpeed")) {
      option.conveyorSpeeds.push_back(ToInt(value));
    } else {
      WarnOfUnknownProperty(client, L"<conveyorSpeed><properties>", name, value);
    }
  });
  return {};
}

}  // namespace

/// Reads the options of a family; the document is inside the family. Most elements of a file are
/// options, so the loop uses the element index directly.
template <typename Kind>
CString ReadOptions(CMarkup& markup, OptionFamily<Kind>& family, CLoggerClient* client) {
  constexpr auto& kTable = KindProperties<Kind>::kTable;
  static_assert(kTable[0].key == L"optionName", "ORV_OPTION comes first");
  if (!IntoChild(markup, L"options")) {
    Warn(client, family, L"Option Family '%ls' has no options defined!");
    return {};
  }
  const auto warn = [&family, client](std::wstring_view name, std::wstring_view value) {
    if (!CLogger::IsEnabled(eLogLevelWarning, nullptr)) return;
    Warn(client, family, L"Unknown property in Option Family '%ls': %ls = %ls", CString(name),
         CString(value));
  };
  const Cursor& cursor = CursorOf(markup);
  const int first = cursor.FirstChild(cursor.Main(), L"option");
  // Nearly every family is in one place of its file, so one allocation is enough.
  if (family.options.empty()) {
    std::size_t count = 0;
    for (int element = first; element != 0; element = cursor.NextSibling(element, L"option"))
      ++count;
    family.options.reserve(count);
  }
  for (int element = first; element != 0; element = cursor.NextSibling(element, L"option")) {
    const int properties = cursor.FirstChild(element, L"properties");
    if (properties == 0) {
      Warn(client, family, L"Option Family '%ls' has an option without properties!");
      continue;
    }
    Kind option;
    StoreProperties<Kind>(markup, properties, kTable, option, warn);
    CString error = ReadExtras(markup, properties, option, client);
    if (!error.empty()) return error;

    if (option.optionName.empty()) {
      Warn(client, family, L"Option Family '%ls' has an option without a name. Ignoring it!");
    } else {
      family.options.push_back(std::move(option));
    }
  }
  markup.OutOfElem();
  return {};
}

namespace {

/// Stores a family's properties and reads its options.
template <typename Kind>
CString ReadFamily(CMarkup& markup, OptionFamily<Kind>& family, const FamilyProperties& properties,
                   CLoggerClient* client) {
  family.optionFamilyId = properties.optionFamilyId;
  family.optionFamilyType = properties.optionFamilyType;
  family.optionFamilyName = properties.optionFamilyName;
  family.optionFamilyImageFile = properties.optionFamilyImageFile;
  return ReadOptions(markup, family, client);
}

/// No family has this identifier: a first family that does not say its own is unknown.
constexpr std::int32_t kNoFamily = 99;

}  // namespace

CString ReadOptionFamilies(CMarkup& markup, Device& device, CLoggerClient* client) {
  // Kept for compatibility: a family without an identifier is read under that of the family before
  // it.
  FamilyProperties properties{kNoFamily, {}, {}, {}};
  while (IntoChild(markup, L"optionFamily")) {
    if (IntoChild(markup, L"properties")) {
      ReadFamilyProperties(markup, properties, client);
      markup.OutOfElem();
    } else {
      CLogger::Log(eLogLevelWarning, client,
                   L"Option Family without <properties> found. Ignoring it!", nullptr);
    }
    bool known = false;
    CString error;
    ForEachFamily([&](auto family) {
      if (known || family.id != properties.optionFamilyId) return;
      known = true;
      error = ReadFamily(markup, device.*family.member, properties, client);
    });
    if (!error.empty()) return error;
    if (!known) {
      LogFormat(eLogLevelWarning, client, nullptr,
                L"Unknown Option Family Type in "
                L"<device><optionFamilies><optionFamily><properties>: %ls",
                properties.optionFamilyType.c_str());
    }
    markup.OutOfElem();
  }
  return {};
}

void ReadFamilyProperties(CMarkup& markup, FamilyProperties& properties, CLoggerClient* client) {
  StoreOrWarn<FamilyProperties>(markup, kFamilyProperties,
                                L"<device><optionFamilies><optionFamily><properties>", properties,
                                client);
}

// The public class reads families of one kind alone.
#define ORV_OPTIONS(Kind) \
  template CString ReadOptions(CMarkup&, OptionFamily<Kind>&, CLoggerClient*);

ORV_OPTION_KINDS(ORV_OPTIONS)

#undef ORV_OPTIONS

}  // namespace orv
