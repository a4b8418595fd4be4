#include <span>
#include <utility>

#include "orv/config/config_parser.h"
#include "orv/config/properties.h"

/// Option families: one reader for the options of every kind, given a table of the kind's own keys,
/// and one table that leads from a family's identifier to its member of `Device`.

using orv::IntoChild;
using orv::MissingElement;
using orv::Property;

namespace {

/// Only "TRUE" marks the default option; files rely on "true" being false here.
void StoreIsDefault(Option& option, std::wstring_view value) {
  option.isDefault = orv::ToUpperCaseBool(value);
}

/// The keys of every option.
constexpr Property<Option> kOptionKeys[] = {
    {L"optionName", &Option::optionName},
    {L"optionImageFile", &Option::optionImageFile},
    {L"defaultOption", &StoreIsDefault},
};

/// Logs a warning that names the family by its type text.
template <typename Kind, typename... Arguments>
void Warn(CLoggerClient* client, const OptionFamily<Kind>& family, const wchar_t* format,
          const Arguments&... arguments) {
  orv::LogFormat(eLogLevelWarning, client, nullptr, format, family.optionFamilyType.c_str(),
                 arguments.c_str()...);
}

/// Reads what an option has besides its properties, with the document inside the option. Only the
/// belt applicator has something.
template <typename Kind>
CString ReadExtras(CMarkup&, Kind&, CLoggerClient*) {
  return {};
}

template <>
CString ReadExtras(CMarkup& markup, BeltApplicator& option, CLoggerClient* client) {
  if (!IntoChild(markup, L"conveyorSpeed")) return MissingElement(L"<conveyorSpeed>");
  if (!IntoChild(markup, L"properties")) return MissingElement(L"<conveyorSpeed><properties>");
  orv::ForEachProperty(markup, [&](std::wstring_view name, std::wstring_view value) {
    if (orv::EqualsIgnoreCase(name, L"conveyorSpeed")) {
      option.conveyorSpeeds.push_back(orv::ToInt(value));
    } else {
      orv::WarnOfUnknownProperty(client, L"<conveyorSpeed><properties>", name, value);
    }
  });
  markup.OutOfElem();
  markup.OutOfElem();
  return {};
}

/// Reads the options of a family; the document is inside the family. `keys` are the kind's own.
template <typename Kind>
CString ReadOptions(CMarkup& markup, std::span<const Property<Kind>> keys,
                    OptionFamily<Kind>& family, CLoggerClient* client) {
  if (!IntoChild(markup, L"options")) {
    Warn(client, family, L"Option Family '%ls' has no options defined!");
    return {};
  }
  while (IntoChild(markup, L"option")) {
    if (!IntoChild(markup, L"properties")) {
      Warn(client, family, L"Option Family '%ls' has an option without properties!");
      markup.OutOfElem();
      continue;
    }
    Kind option;
    orv::ForEachProperty(markup, [&](std::wstring_view name, std::wstring_view value) {
      if (!orv::StoreProperty<Option>(kOptionKeys, name, value, option) &&
          !orv::StoreProperty<Kind>(keys, name, value, option)) {
        Warn(client, family, L"Unknown property in Option Family '%ls': %ls = %ls", CString(name),
             CString(value));
      }
    });
    markup.OutOfElem();

    CString error = ReadExtras(markup, option, client);
    if (!error.empty()) return error;
    markup.OutOfElem();

    if (option.optionName.empty()) {
      Warn(client, family, L"Option Family '%ls' has an option without a name. Ignoring it!");
    } else {
      family.options.push_back(std::move(option));
    }
  }
  markup.OutOfElem();
  return {};
}

/// The four properties of a group: a stem followed by Min, Max, Step and Default.
#define ORV_GROUP(Kind, stem)                                               \
  Property<Kind>{L"" #stem "Min", &Kind::stem##Min},                        \
      Property<Kind>{L"" #stem "Max", &Kind::stem##Max},                    \
      Property<Kind>{L"" #stem "Step", &Kind::stem##Step}, Property<Kind> { \
    L"" #stem "Default", &Kind::stem##Default                               \
  }

/// A kind whose options have no properties of their own.
template <typename Kind>
CString ReadPlainOptions(CMarkup& markup, OptionFamily<Kind>& family, CLoggerClient* client) {
  return ReadOptions<Kind>(markup, {}, family, client);
}

/// A kind whose only group is the offset.
template <typename Kind>
CString ReadOffsetOptions(CMarkup& markup, OptionFamily<Kind>& family, CLoggerClient* client) {
  static constexpr Property<Kind> kKeys[] = {ORV_GROUP(Kind, offset)};
  return ReadOptions<Kind>(markup, kKeys, family, client);
}

/// What a family says of itself.
struct FamilyProperties {
  std::int32_t optionFamilyId;
  CString optionFamilyType;
  CString optionFamilyName;
  CString optionFamilyImageFile;
};

constexpr Property<FamilyProperties> kFamilyKeys[] = {
    {L"optionFamilyId", &FamilyProperties::optionFamilyId},
    {L"optionFamilyType", &FamilyProperties::optionFamilyType},
    {L"optionFamilyName", &FamilyProperties::optionFamilyName},
    {L"optionFamilyImageFile", &FamilyProperties::optionFamilyImageFile},
};

/// Reads the properties that the document is inside of.
void ReadFamilyProperties(CMarkup& markup, FamilyProperties& properties, CLoggerClient* client) {
  orv::ForEachProperty(markup, [&](std::wstring_view name, std::wstring_view value) {
    if (!orv::StoreProperty<FamilyProperties>(kFamilyKeys, name, value, properties)) {
      orv::WarnOfUnknownProperty(client, L"<device><optionFamilies><optionFamily><properties>",
                                 name, value);
    }
  });
}

using FamilyReader = CString (*)(CMarkup&, Device&, const FamilyProperties&, CLoggerClient*);

/// Stores a family's properties in its member of `Device` and reads its options into it.
template <auto kMember, auto kParseOptions>
CString ReadFamily(CMarkup& markup, Device& device, const FamilyProperties& properties,
                   CLoggerClient* client) {
  auto& family = device.*kMember;
  family.optionFamilyId = properties.optionFamilyId;
  family.optionFamilyType = properties.optionFamilyType;
  family.optionFamilyName = properties.optionFamilyName;
  family.optionFamilyImageFile = properties.optionFamilyImageFile;
  return kParseOptions(markup, family, client);
}

#define ORV_FAMILY(member, Kind) \
  &ReadFamily<&Device::member, &CConfigParser::ParseDeviceOptionFamily##Kind##Options>

constexpr struct {
  std::int32_t id;
  FamilyReader read;
} kFamilies[] = {
    {0, ORV_FAMILY(tearOff, TearOff)},
    {1, ORV_FAMILY(peelOff, PeelOff)},
    {2, ORV_FAMILY(cutter, Cutter)},
    {3, ORV_FAMILY(applicator, Applicator)},
    {4, ORV_FAMILY(ribbonSaver, RibbonSaver)},
    {5, ORV_FAMILY(rewinder, Rewinder)},
    {6, ORV_FAMILY(barcodeVerifierWithPeel, BarcodeVerifierWithPeel)},
    {7, ORV_FAMILY(pauseAdapter, PauseAdapter)},
    {9, ORV_FAMILY(perforator, Perforator)},
    {10, ORV_FAMILY(dispensingModule, DispensingModule)},
    {14, ORV_FAMILY(beltApplicator, BeltApplicator)},
    {17, ORV_FAMILY(barcodeVerifier, BarcodeVerifier)},
    {18, ORV_FAMILY(tubeApplicator, TubeApplicator)},
    {19, ORV_FAMILY(wrappingApplicator, WrappingApplicator)},
    {20, ORV_FAMILY(ioModule, IoModule)},
    {23, ORV_FAMILY(applicator, Applicator)},
};
#undef ORV_FAMILY

/// No family has this identifier: a first family that does not say its own is unknown.
constexpr std::int32_t kNoFamily = 99;

}  // namespace

CString CConfigParser::ParseDeviceOptionFamilies(CMarkup& markup, Device& device,
                                                 CLoggerClient* client) {
  // Carried over from family to family: one that does not say its identifier is read under that of
  // the family before it. Files rely on it.
  FamilyProperties properties{kNoFamily, {}, {}, {}};
  while (IntoChild(markup, L"optionFamily")) {
    if (IntoChild(markup, L"properties")) {
      ReadFamilyProperties(markup, properties, client);
      markup.OutOfElem();
    } else {
      CLogger::Log(eLogLevelWarning, client,
                   L"Option Family without <properties> found. Ignoring it!", nullptr);
    }
    FamilyReader read = nullptr;
    for (const auto& family : kFamilies) {
      if (family.id == properties.optionFamilyId) read = family.read;
    }
    if (read != nullptr) {
      CString error = read(markup, device, properties, client);
      if (!error.empty()) return error;
    } else {
      orv::LogFormat(eLogLevelWarning, client, nullptr,
                     L"Unknown Option Family Type in "
                     L"<device><optionFamilies><optionFamily><properties>: %ls",
                     properties.optionFamilyType.c_str());
    }
    markup.OutOfElem();
  }
  return {};
}

CString CConfigParser::ParseDeviceOptionFamilyProperties(CMarkup markup, int& optionFamilyId,
                                                         CString& optionFamilyType,
                                                         CString& optionFamilyName,
                                                         CString& optionFamilyImageFile,
                                                         CLoggerClient* client) {
  FamilyProperties properties{optionFamilyId, optionFamilyType, optionFamilyName,
                              optionFamilyImageFile};
  ReadFamilyProperties(markup, properties, client);
  optionFamilyId = properties.optionFamilyId;
  optionFamilyType = properties.optionFamilyType;
  optionFamilyName = properties.optionFamilyName;
  optionFamilyImageFile = properties.optionFamilyImageFile;
  return {};
}

CString CConfigParser::ParseDeviceOptionFamilyApplicatorOptions(CMarkup& markup,
                                                                OptionFamily<Applicator>& family,
                                                                CLoggerClient* client) {
  static constexpr Property<Applicator> kKeys[] = {
      ORV_GROUP(Applicator, offset),
      ORV_GROUP(Applicator, startDelaySupportingAir),
      ORV_GROUP(Applicator, stopDelaySupportingAir),
      ORV_GROUP(Applicator, startDelayPrint),
      ORV_GROUP(Applicator, lockTime),
      ORV_GROUP(Applicator, blowTime),
  };
  return ReadOptions<Applicator>(markup, kKeys, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyBarcodeVerifierOptions(
    CMarkup& markup, OptionFamily<BarcodeVerifier>& family, CLoggerClient* client) {
  return ReadPlainOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyBarcodeVerifierWithPeelOptions(
    CMarkup& markup, OptionFamily<BarcodeVerifierWithPeel>& family, CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyBeltApplicatorOptions(
    CMarkup& markup, OptionFamily<BeltApplicator>& family, CLoggerClient* client) {
  static constexpr Property<BeltApplicator> kKeys[] = {
      ORV_GROUP(BeltApplicator, offset),
      ORV_GROUP(BeltApplicator, startDelayPrint),
      ORV_GROUP(BeltApplicator, labelPosition),
      ORV_GROUP(BeltApplicator, applyRunning),
      {L"conveyorSpeedDefault", &BeltApplicator::conveyorSpeedDefault},
  };
  return ReadOptions<BeltApplicator>(markup, kKeys, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyCutterOptions(CMarkup& markup,
                                                            OptionFamily<Cutter>& family,
                                                            CLoggerClient* client) {
  static constexpr Property<Cutter> kKeys[] = {
      ORV_GROUP(Cutter, offset1),
      ORV_GROUP(Cutter, offset2),
  };
  return ReadOptions<Cutter>(markup, kKeys, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyDispensingModuleOptions(
    CMarkup& markup, OptionFamily<DispensingModule>& family, CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyIoModuleOptions(CMarkup& markup,
                                                              OptionFamily<IoModule>& family,
                                                              CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyPauseAdapterOptions(
    CMarkup& markup, OptionFamily<PauseAdapter>& family, CLoggerClient* client) {
  return ReadPlainOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyPeelOffOptions(CMarkup& markup,
                                                             OptionFamily<PeelOff>& family,
                                                             CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyPerforatorOptions(CMarkup& markup,
                                                                OptionFamily<Perforator>& family,
                                                                CLoggerClient* client) {
  static constexpr Property<Perforator> kKeys[] = {
      ORV_GROUP(Perforator, offset1),
      ORV_GROUP(Perforator, offset2),
      ORV_GROUP(Perforator, perforatorDeepness),
  };
  return ReadOptions<Perforator>(markup, kKeys, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyRewinderOptions(CMarkup& markup,
                                                              OptionFamily<Rewinder>& family,
                                                              CLoggerClient* client) {
  return ReadPlainOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyRibbonSaverOptions(CMarkup& markup,
                                                                 OptionFamily<RibbonSaver>& family,
                                                                 CLoggerClient* client) {
  return ReadPlainOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyTearOffOptions(CMarkup& markup,
                                                             OptionFamily<TearOff>& family,
                                                             CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyTubeApplicatorOptions(
    CMarkup& markup, OptionFamily<TubeApplicator>& family, CLoggerClient* client) {
  return ReadOffsetOptions(markup, family, client);
}

CString CConfigParser::ParseDeviceOptionFamilyWrappingApplicatorOptions(
    CMarkup& markup, OptionFamily<WrappingApplicator>& family, CLoggerClient* client) {
  static constexpr Property<WrappingApplicator> kKeys[] = {
      ORV_GROUP(WrappingApplicator, offset),
      {L"wrapPosMin", &WrappingApplicator::wrapPosMin},  // this group has no step
      {L"wrapPosMax", &WrappingApplicator::wrapPosMax},
      {L"wrapPosDefault", &WrappingApplicator::wrapPosDefault},
  };
  return ReadOptions<WrappingApplicator>(markup, kKeys, family, client);
}
