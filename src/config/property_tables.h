#pragma once

#include "config/property.h"

/// The properties of every section of a configuration file.

namespace orv {

inline constexpr Property<FileInfo> kFileInfoProperties[] = {
    {L"type", &FileInfo::type},
    {L"configfilename", &FileInfo::configFileName},
    {L"version", &FileInfo::version},
    {L"creator", &FileInfo::creator},
    {L"created", DateTime<FileInfo>{&FileInfo::created}},
    {L"lastModified", DateTime<FileInfo>{&FileInfo::lastModified}},
    {L"culture", &FileInfo::culture},
    {L"sha256", &FileInfo::sha256},
};

inline constexpr Property<Model> kModelProperties[] = {
    {L"modelId", &Model::modelId},
    {L"modelName", &Model::modelName},
    {L"boardName", &Model::boardName},
    {L"pnpID", &Model::pnpID},
    {L"deviceId", &Model::deviceId},
    {L"aRef", &Model::aRef},
    {L"orvModification", &Model::orvModification},
    {L"deviceImageFile", &Model::deviceImageFile},
};

inline constexpr Property<Label> kLabelProperties[] = {
    {L"widthMin", &Label::widthMin},
    {L"widthMax", &Label::widthMax},
    {L"widthDefault", &Label::widthDefault},
    {L"heightMin", &Label::heightMin},
    {L"heightMax", &Label::heightMax},
    {L"heightDefault", &Label::heightDefault},
    {L"maxGapDistance", &Label::maxGapDistance},
};

inline constexpr Property<GeneralSettings> kGeneralSettingsProperties[] = {
    {L"printWidth", &GeneralSettings::printWidth},
    {L"rotateLabelEnabled", &GeneralSettings::rotateLabelEnabled},
    {L"rotateLabelByDefault", &GeneralSettings::rotateLabelByDefault},
    {L"mirroredLabelPrintingEnabled", &GeneralSettings::mirroredLabelPrintingEnabled},
    {L"mirroredLabelPrintingByDefault", &GeneralSettings::mirroredLabelPrintingByDefault},
    {L"negativeLabelEnabled", &GeneralSettings::negativeLabelEnabled},
    {L"negativeLabelByDefault", &GeneralSettings::negativeLabelByDefault},
    {L"singleBufferEnabled", &GeneralSettings::singleBufferEnabled},
    {L"singleBufferByDefault", &GeneralSettings::singleBufferByDefault},
    {L"ignorePaperEndEnabled", &GeneralSettings::ignorePaperEndEnabled},
    {L"ignorePaperEndByDefault", &GeneralSettings::ignorePaperEndByDefault},
    {L"discardLabelPositionEnabled", &GeneralSettings::discardLabelPositionEnabled},
    {L"discardLabelPositionByDefault", &GeneralSettings::discardLabelPositionByDefault},
    {L"topSameAsBottomEnabled", &GeneralSettings::topSameAsBottomEnabled},
    {L"topSameAsBottomByDefault", &GeneralSettings::topSameAsBottomByDefault},
    {L"backfeedmodeEnabled", &GeneralSettings::backfeedmodeEnabled},
    {L"backfeedmodeByDefault", &GeneralSettings::backfeedmodeByDefault},
    {L"resolutionDpiX", &GeneralSettings::resolutionDpiX},
    {L"resolutionDpiY", &GeneralSettings::resolutionDpiY},
    {L"imageOptByDefault", &GeneralSettings::imageOptByDefault},
    {L"imageOptEnabled", &GeneralSettings::imageOptEnabled},
    {L"replaceContentByDefault", &GeneralSettings::replaceContentByDefault},
    {L"replaceContentEnabled", &GeneralSettings::replaceContentEnabled},
    {L"materialGuidance", Guidance<GeneralSettings>{&GeneralSettings::materialGuidance}},
    {L"ribbonSaverByDefault", &GeneralSettings::ribbonSaverByDefault},
    {L"ribbonSaverEnabled", &GeneralSettings::ribbonSaverEnabled},
    {L"customPageSizeByDefault", &GeneralSettings::customPageSizeByDefault},
    {L"customPageSizeEnabled", &GeneralSettings::customPageSizeEnabled},
    {L"test", Ignored{}},  // reserved: accepted and ignored
};

/// A range as the file has it: missing properties have no value.
struct Range {
  static constexpr std::int32_t kAbsent = -1;

  std::optional<std::int32_t> min;
  std::optional<std::int32_t> step;
  std::optional<std::int32_t> max;
  std::optional<std::int32_t> defaultValue;
  std::int32_t enabled = kAbsent;
};

inline constexpr Property<Range> kGlobalOffsetYProperties[] = {
    {L"globalOffsetYMin", &Range::min},
    {L"globalOffsetYStep", &Range::step},
    {L"globalOffsetYMax", &Range::max},
};

inline constexpr Property<Range> kHeadsOffsetXProperties[] = {
    // Kept for compatibility: only "TRUE" enables it, "true" does not.
    {L"headsOffsetXEnabled", UpperCaseBool<Range>{&Range::enabled}},
    {L"headsOffsetXMin", &Range::min},
    {L"headsOffsetXStep", &Range::step},
    {L"headsOffsetXMax", &Range::max},
};

inline constexpr Property<Range> kDarknessProperties[] = {
    {L"darknessMin", &Range::min},
    {L"darknessStep", &Range::step},
    {L"darknessMax", &Range::max},
    {L"darknessDefault", &Range::defaultValue},
};

inline constexpr Property<Characteristics> kCharacteristicsProperties[] = {
    {L"doubleSided", &Characteristics::doubleSided},
    {L"color", &Characteristics::color},
};

/// A name and the number that is stored for it.
struct NumberedName {
  std::wstring_view name;
  std::int32_t number;
};

inline constexpr NumberedName kPrintModeNames[] = {
    {L"ThermalTransfer", 0},
    {L"DirectThermal", 1},
};

inline constexpr NumberedName kSensorTypeNames[] = {
    {L"SensorTypeContinous", 0},  // the spelling of every file
    {L"SensorTypeReflectiveTop", 1},    {L"SensorTypeGap", 2},
    {L"SensorTypeReflectiveBottom", 3}, {L"sensorTypeExternalPosEdge", 4},
    {L"sensorTypeExternalNegEdge", 5},
};

/// A section that lists named entries, each in an element of its own, and names the default one.
struct EntryList {
  const wchar_t* section;
  const wchar_t* entry;             ///< the element of one entry
  std::wstring_view defaultKey;     ///< the section's property that names the default
  std::wstring_view defaultPrefix;  ///< precedes that name in the name of an entry
  std::span<const NumberedName> names;
  std::int32_t firstNumber;  ///< the number before the first name
};

inline constexpr EntryList kPrintModeList = {L"printModes", L"printMode",    L"printModedefault",
                                             L"",           kPrintModeNames, 0};
inline constexpr EntryList kSensorTypeList = {
    L"sensorTypes", L"sensorType", L"SensorTypeDefault", L"sensorType", kSensorTypeNames, 2};

/// The properties of a family itself.
struct FamilyProperties {
  std::int32_t optionFamilyId;
  CString optionFamilyType;
  CString optionFamilyName;
  CString optionFamilyImageFile;
};

inline constexpr Property<FamilyProperties> kFamilyProperties[] = {
    {L"optionFamilyId", &FamilyProperties::optionFamilyId},
    {L"optionFamilyType", &FamilyProperties::optionFamilyType},
    {L"optionFamilyName", &FamilyProperties::optionFamilyName},
    {L"optionFamilyImageFile", &FamilyProperties::optionFamilyImageFile},
};

/// The properties of every option.
#define ORV_OPTION(Kind)                                                           \
  Property<Kind>{L"optionName", &Kind::optionName},                                \
      Property<Kind>{L"optionImageFile", &Kind::optionImageFile}, Property<Kind> { \
    /* Kept for compatibility: only "TRUE" marks the default, "true" does not. */  \
    L"defaultOption", UpperCaseBool<Kind> { &Kind::isDefault }                     \
  }

/// The properties of one kind of option: by default only those of every option.
template <typename Kind>
struct KindProperties {
  static constexpr Property<Kind> kTable[] = {ORV_OPTION(Kind)};
};

/// The four properties of a group: a stem followed by Min, Max, Step and Default.
#define ORV_GROUP(Kind, stem)                                               \
  Property<Kind>{L"" #stem "Min", &Kind::stem##Min},                        \
      Property<Kind>{L"" #stem "Max", &Kind::stem##Max},                    \
      Property<Kind>{L"" #stem "Step", &Kind::stem##Step}, Property<Kind> { \
    L"" #stem "Default", &Kind::stem##Default                               \
  }

/// A kind whose only group is the offset.
template <typename Kind>
struct OffsetProperties {
  static constexpr Property<Kind> kTable[] = {ORV_OPTION(Kind), ORV_GROUP(Kind, offset)};
};

template <>
struct KindProperties<Applicator> {
  static constexpr Property<Applicator> kTable[] = {
      ORV_OPTION(Applicator),
      ORV_GROUP(Applicator, offset),
      ORV_GROUP(Applicator, startDelaySupportingAir),
      ORV_GROUP(Applicator, stopDelaySupportingAir),
      ORV_GROUP(Applicator, startDelayPrint),
      ORV_GROUP(Applicator, lockTime),
      ORV_GROUP(Applicator, blowTime),
  };
};
template <>
struct KindProperties<BarcodeVerifierWithPeel> : OffsetProperties<BarcodeVerifierWithPeel> {};
template <>
struct KindProperties<BeltApplicator> {
  static constexpr Property<BeltApplicator> kTable[] = {
      ORV_OPTION(BeltApplicator),
      ORV_GROUP(BeltApplicator, offset),
      ORV_GROUP(BeltApplicator, startDelayPrint),
      ORV_GROUP(BeltApplicator, labelPosition),
      ORV_GROUP(BeltApplicator, applyRunning),
      {L"conveyorSpeedDefault", &BeltApplicator::conveyorSpeedDefault},
  };
};
template <>
struct KindProperties<Cutter> {
  static constexpr Property<Cutter> kTable[] = {
      ORV_OPTION(Cutter),
      ORV_GROUP(Cutter, offset1),
      ORV_GROUP(Cutter, offset2),
  };
};
template <>
struct KindProperties<DispensingModule> : OffsetProperties<DispensingModule> {};
template <>
struct KindProperties<IoModule> : OffsetProperties<IoModule> {};
template <>
struct KindProperties<PeelOff> : OffsetProperties<PeelOff> {};
template <>
struct KindProperties<Perforator> {
  static constexpr Property<Perforator> kTable[] = {
      ORV_OPTION(Perforator),
      ORV_GROUP(Perforator, offset1),
      ORV_GROUP(Perforator, offset2),
      ORV_GROUP(Perforator, perforatorDeepness),
  };
};
template <>
struct KindProperties<TearOff> : OffsetProperties<TearOff> {};
template <>
struct KindProperties<TubeApplicator> : OffsetProperties<TubeApplicator> {};
template <>
struct KindProperties<WrappingApplicator> {
  static constexpr Property<WrappingApplicator> kTable[] = {
      ORV_OPTION(WrappingApplicator),
      ORV_GROUP(WrappingApplicator, offset),
      {L"wrapPosMin", &WrappingApplicator::wrapPosMin},  // this group has no step
      {L"wrapPosMax", &WrappingApplicator::wrapPosMax},
      {L"wrapPosDefault", &WrappingApplicator::wrapPosDefault},
  };
};

#undef ORV_GROUP
#undef ORV_OPTION

/// A family's identifier and its member of `Device`.
template <typename Kind>
struct FamilyMember {
  std::int32_t id;
  const wchar_t* name;
  OptionFamily<Kind> Device::*member;
};

/// Calls `use(FamilyMember<Kind>)` for every identifier, in ascending order; 3 and 23 are one
/// family.
template <typename Use>
constexpr void ForEachFamily(Use use) {
  use(FamilyMember<TearOff>{0, L"tearOff", &Device::tearOff});
  use(FamilyMember<PeelOff>{1, L"peelOff", &Device::peelOff});
  use(FamilyMember<Cutter>{2, L"cutter", &Device::cutter});
  use(FamilyMember<Applicator>{3, L"applicator", &Device::applicator});
  use(FamilyMember<RibbonSaver>{4, L"ribbonSaver", &Device::ribbonSaver});
  use(FamilyMember<Rewinder>{5, L"rewinder", &Device::rewinder});
  use(FamilyMember<BarcodeVerifierWithPeel>{6, L"barcodeVerifierWithPeel",
                                            &Device::barcodeVerifierWithPeel});
  use(FamilyMember<PauseAdapter>{7, L"pauseAdapter", &Device::pauseAdapter});
  use(FamilyMember<Perforator>{9, L"perforator", &Device::perforator});
  use(FamilyMember<DispensingModule>{10, L"dispensingModule", &Device::dispensingModule});
  use(FamilyMember<BeltApplicator>{14, L"beltApplicator", &Device::beltApplicator});
  use(FamilyMember<BarcodeVerifier>{17, L"barcodeVerifier", &Device::barcodeVerifier});
  use(FamilyMember<TubeApplicator>{18, L"tubeApplicator", &Device::tubeApplicator});
  use(FamilyMember<WrappingApplicator>{19, L"wrappingApplicator", &Device::wrappingApplicator});
  use(FamilyMember<IoModule>{20, L"ioModule", &Device::ioModule});
  use(FamilyMember<Applicator>{23, L"applicator", &Device::applicator});
}

}  // namespace orv
