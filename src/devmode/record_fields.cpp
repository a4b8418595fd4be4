#include "devmode/record_fields.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "orv/platform/types.h"

namespace orv {
namespace {

template <typename T>
constexpr FieldKind KindOf() {
  if constexpr (std::is_same_v<T, GUID>) return FieldKind::kGuid;
  if constexpr (std::is_same_v<T, char[tagOEMDEV::kCommandSize]>) return FieldKind::kText;
  if constexpr (std::is_array_v<T>) return FieldKind::kBytes;
  return std::is_signed_v<T> ? FieldKind::kSigned : FieldKind::kUnsigned;
}

/// The option that the configuration marks as its family's default; the first one counts. Null if
/// there is none.
template <typename T>
const T* DefaultOption(const OptionFamily<T>& family) {
  const auto found = std::ranges::find_if(family.options, &T::isDefault);
  return found != family.options.end() ? &*found : nullptr;
}

constexpr RuleNumber Constant(std::uint32_t number) {
  return {nullptr, nullptr, static_cast<std::int32_t>(number)};
}

// A number from the configuration; documents show this expression.
#define FROM(expression)                                                               \
  RuleNumber {                                                                         \
#expression, [](const Config& config) -> std::int32_t {                              \
      [[maybe_unused]] const Label& label = config.device.label;                         \
      [[maybe_unused]] const GeneralSettings& generalSettings = config.device.generalSettings; \
      [[maybe_unused]] const PrintModes& printModes = config.device.printModes;          \
      [[maybe_unused]] const SensorTypes& sensorTypes = config.device.sensorTypes;       \
      [[maybe_unused]] const Darkness& darkness = config.device.darkness;                \
      [[maybe_unused]] const PrintSpeeds& printSpeeds = config.device.printSpeeds;       \
      return expression;                                                                 \
    } \
  }
// Whether a family has a default option, and a value of that option; 0 without one.
#define FITTED(family)                                           \
  RuleNumber {                                                   \
    "1 if " #family " has a default option, otherwise 0",        \
        [](const Config& config) -> std::int32_t {               \
          return DefaultOption(config.device.family) != nullptr; \
        }                                                        \
  }
#define OPTION(family, expression)                                                     \
  RuleNumber {                                                                         \
#expression " of the default " #family " option",                                    \
        [](const Config& config) -> std::int32_t {                              \
          const auto* option = DefaultOption(config.device.family);             \
          return option != nullptr ? option->expression : 0;                    \
        } \
  }

constexpr FieldRule Range(RuleNumber min, RuleNumber max, RuleNumber fallback) {
  return {.kind = FieldRule::kRange, .min = min, .max = max, .fallback = fallback};
}
constexpr FieldRule Range(std::int32_t min, std::int32_t max, RuleNumber fallback) {
  return Range({nullptr, nullptr, min}, {nullptr, nullptr, max}, fallback);
}
constexpr FieldRule AtMost(RuleNumber max, RuleNumber fallback) {
  return Range(Constant(0), max, fallback);
}
constexpr FieldRule Flag(RuleNumber fallback) { return Range(0, 1, fallback); }
constexpr FieldRule OneOf(AllowedList list, RuleNumber fallback) {
  return {.kind = FieldRule::kList, .list = list, .fallback = fallback};
}
constexpr FieldRule Offered(RuleNumber offered, FieldRule rule) {
  rule.offered = offered;
  return rule;
}
constexpr FieldRule kAnyValue = {};
constexpr FieldRule kTerminatedText = {.kind = FieldRule::kTerminated};
constexpr FieldRule kTypeOfCommand = Range(0, 4, Constant(0));
constexpr FieldRule kDeviceFlag = Flag(Constant(0));
constexpr RuleNumber k0 = Constant(0);

constexpr const char* kLength = "1/1000 mm";
constexpr const char* kSpeed = "mm/s";
constexpr const char* kNone = "";

/// The offset, width and kind of a member.
struct Member {
  const char* name;
  std::size_t offset;
  std::size_t width;
  FieldKind kind;
};
#define MEMBER(member)                                                                        \
  Member {                                                                                    \
#member, offsetof(tagOEMDEV, member), sizeof(std::declval <tagOEMDEV&>().member),         \
        KindOf < std::remove_reference_t < decltype((std::declval <tagOEMDEV&>().member))>>() \
  }

constexpr RecordField Entry(Member member, const char* unit, RuleNumber byDefault, FieldRule rule,
                            const char* meaning, bool hasDefault = true) {
  return {member.name,
          static_cast<std::uint16_t>(member.offset),
          static_cast<std::uint16_t>(member.width),
          member.kind,
          unit,
          hasDefault,
          byDefault,
          rule,
          meaning};
}
constexpr RecordField CarriedEntry(Member member, const char* meaning) {
  return Entry(member, kNone, k0, kAnyValue, meaning, false);
}
constexpr RecordField Renamed(const char* name, RecordField entry) {
  entry.name = name;
  return entry;
}
#define FIELD(member, ...) Entry(MEMBER(member), __VA_ARGS__)
#define CARRIED(member, meaning) CarriedEntry(MEMBER(member), meaning)

// Member, unit, default, rule (with the fallback last), meaning. The darkness default is an
// unscaled entry of the darkness list; speeds are a thousandth of what the configuration holds.
// clang-format off
constexpr RecordField kFields[] = {
    FIELD(dwSize, "bytes", Constant(tagOEMDEV::kSize), kAnyValue, "size of the record"),
    FIELD(dwSignature, kNone, Constant(tagOEMDEV::kSignature), kAnyValue, "the characters ORV1"),
    FIELD(dwVersion, kNone, Constant(tagOEMDEV::kVersion), kAnyValue, "version of the record's layout"),
    CARRIED(EpLayout, "the same settings in the legacy layout"),

    FIELD(OutputFormatPNG, kNone, Constant(1), Range(1, 1, Constant(1)), "send pages as PNG images"),
    FIELD(UnprintableLeft, kLength, k0, AtMost(FROM(label.widthMax), k0), "left margin"),
    FIELD(UnprintableRight, kLength, k0, AtMost(FROM(label.widthMax), k0), "right margin"),
    FIELD(UnprintableTop, kLength, k0, AtMost(FROM(label.heightMax), k0), "top margin"),
    FIELD(UnprintableBottom, kLength, k0, AtMost(FROM(label.heightMax), k0), "bottom margin"),
    FIELD(OffsetX, kLength, k0, AtMost(FROM(label.widthMax), k0), "offset of the image across the label"),
    FIELD(OffsetY, kLength, k0, AtMost(FROM(label.heightMax), k0), "offset of the image along the label"),
    FIELD(IgnorePaperEnd, kNone, FROM(generalSettings.ignorePaperEndByDefault),
          Offered(FROM(generalSettings.ignorePaperEndEnabled), Flag(FROM(generalSettings.ignorePaperEndByDefault))),
          "continue printing when the material runs out"),
    FIELD(Mirror, kNone, FROM(generalSettings.mirroredLabelPrintingByDefault),
          Offered(FROM(generalSettings.mirroredLabelPrintingEnabled), Flag(FROM(generalSettings.mirroredLabelPrintingByDefault))),
          "print a mirror image"),
    FIELD(Invert, kNone, FROM(generalSettings.negativeLabelByDefault),
          Offered(FROM(generalSettings.negativeLabelEnabled), Flag(FROM(generalSettings.negativeLabelByDefault))),
          "invert black and white"),
    FIELD(TopSideSameAsBottom, kNone, FROM(generalSettings.topSameAsBottomByDefault),
          Offered(FROM(generalSettings.topSameAsBottomEnabled), Flag(FROM(generalSettings.topSameAsBottomByDefault))),
          "print the same image on both sides"),
    FIELD(Reserved1664, kNone, k0, kAnyValue, "reserved"),
    FIELD(SensorType, kNone, FROM(sensorTypes.defaultType), OneOf(AllowedList::kSensorTypes, FROM(sensorTypes.defaultType)),
          "label sensor: 0 continuous, 1 reflective top, 2 gap, 3 reflective bottom, 4 external positive edge, 5 external negative edge"),
    FIELD(GapDistance, kLength, k0, AtMost(FROM(label.maxGapDistance), k0), "gap between labels"),
    FIELD(Rotation, "quarter turns", FROM(generalSettings.rotateLabelByDefault ? 0 : 2),
          Offered(FROM(generalSettings.rotateLabelEnabled), Range(0, 3, FROM(generalSettings.rotateLabelByDefault ? 0 : 2))),
          "rotation of the label"),
    FIELD(PrintMode, kNone, FROM(printModes.defaultMode), Range(0, 1, FROM(printModes.defaultMode)),
          "printing method: 0 thermal transfer, 1 direct thermal"),
    FIELD(BackFeedMode, kNone, FROM(generalSettings.backfeedmodeEnabled && generalSettings.backfeedmodeByDefault ? 2 : 1),
          Offered(FROM(generalSettings.backfeedmodeEnabled), Range(0, 2, FROM(generalSettings.backfeedmodeByDefault ? 1 : 0))),
          "when the material is fed back"),
    // A list without 0 refuses it, although it is the default and the fallback; it stays 0.
    FIELD(BackFeedSpeed, kSpeed, k0,
          Offered(FROM(generalSettings.backfeedmodeEnabled), OneOf(AllowedList::kPrintSpeeds, k0)),
          "back-feed speed"),
    FIELD(UnitOfMeasure, kNone, Constant(1), Range(0, 2, Constant(1)), "unit shown in the user interface"),
    FIELD(PrintSpeed, kSpeed, FROM(printSpeeds.defaultSpeed / 1000),
          OneOf(AllowedList::kPrintSpeeds, FROM(printSpeeds.defaultSpeed / 1000)), "print speed"),
    FIELD(Darkness, kNone, FROM(darkness.defaultValue), OneOf(AllowedList::kDarkness, FROM(darkness.defaultValue)),
          "print darkness"),
    FIELD(RibbonSaver, kNone, FROM(generalSettings.ribbonSaverByDefault),
          Offered(FROM(generalSettings.ribbonSaverEnabled), Flag(FROM(generalSettings.ribbonSaverByDefault))),
          "save ribbon over blank areas"),
    FIELD(SingleBufferMode, kNone, FROM(generalSettings.singleBufferByDefault),
          Offered(FROM(generalSettings.singleBufferEnabled), Flag(FROM(generalSettings.singleBufferByDefault))),
          "prepare one label at a time"),
    FIELD(IgnoreLabelPosition, kNone, FROM(generalSettings.discardLabelPositionByDefault),
          Offered(FROM(generalSettings.discardLabelPositionEnabled), Flag(FROM(generalSettings.discardLabelPositionByDefault))),
          "ignore the position of the label"),
    FIELD(SoftwareOptimization, kNone, FROM(generalSettings.replaceContentByDefault),
          Offered(FROM(generalSettings.replaceContentEnabled), Flag(FROM(generalSettings.replaceContentByDefault))),
          "send only the content that changes between labels"),

    FIELD(Applicator.enabled, kNone, FITTED(applicator), kDeviceFlag, "applicator in use"),
    FIELD(Applicator.offset, kLength, OPTION(applicator, offsetDefault), kAnyValue, "applicator offset"),
    FIELD(Applicator.startDelaySupportingAir, kNone, OPTION(applicator, startDelaySupportingAirDefault), kAnyValue,
          "delay until the supporting air starts"),
    FIELD(Applicator.stopDelaySupportingAir, kNone, OPTION(applicator, stopDelaySupportingAirDefault), kAnyValue,
          "delay until the supporting air stops"),
    FIELD(Applicator.startDelayPrint, kNone, OPTION(applicator, startDelayPrintDefault), kAnyValue, "delay until printing starts"),
    FIELD(Applicator.lockTime, kNone, OPTION(applicator, lockTimeDefault), kAnyValue, "time during which start signals are ignored"),
    FIELD(Applicator.blowTime, kNone, OPTION(applicator, blowTimeDefault), kAnyValue, "duration of the air blast"),
    FIELD(Applicator.reserved, kNone, k0, kAnyValue, "reserved"),
    FIELD(BarcodeVerifier.enabled, kNone, FITTED(barcodeVerifier), kDeviceFlag, "barcode verifier in use"),
    FIELD(Cutter.enabled, kNone, FITTED(cutter), kDeviceFlag, "cutter in use"),
    FIELD(Cutter.offset1, kLength, OPTION(cutter, offset1Default), kAnyValue, "cutter offset"),
    FIELD(Cutter.offset2, kLength, OPTION(cutter, offset2Default), kAnyValue, "second cutter offset"),
    FIELD(Cutter.reserved, kNone, k0, kAnyValue, "reserved"),
    FIELD(PeelOff.enabled, kNone, FITTED(peelOff), kDeviceFlag, "peel-off device in use"),
    FIELD(PeelOff.offset, kLength, OPTION(peelOff, offsetDefault), kAnyValue, "peel-off offset"),
    FIELD(Perforator.enabled, kNone, FITTED(perforator), kDeviceFlag, "perforator in use"),
    FIELD(Perforator.offset1, kLength, OPTION(perforator, offset1Default), kAnyValue, "perforator offset"),
    FIELD(Perforator.offset2, kLength, OPTION(perforator, offset2Default), kAnyValue, "second perforator offset"),
    FIELD(Perforator.perforatorDeepness, kNone, OPTION(perforator, perforatorDeepnessDefault), kAnyValue, "depth of the perforation"),
    FIELD(Perforator.reserved, kNone, k0, kAnyValue, "reserved"),
    FIELD(Rewinder.enabled, kNone, FITTED(rewinder), kDeviceFlag, "rewinder in use"),
    FIELD(TearOff.enabled, kNone, FITTED(tearOff), kDeviceFlag, "tear-off edge in use"),
    FIELD(TearOff.offset, kLength, OPTION(tearOff, offsetDefault), kAnyValue, "tear-off offset"),
    FIELD(TubeApplicator.enabled, kNone, FITTED(tubeApplicator), kAnyValue, "tube applicator in use; not validated"),
    FIELD(TubeApplicator.offset, kLength, OPTION(tubeApplicator, offsetDefault), kAnyValue, "tube applicator offset"),
    FIELD(WrappingApplicator.enabled, kNone, FITTED(wrappingApplicator), kAnyValue, "wrapping applicator in use; not validated"),
    FIELD(WrappingApplicator.offset, kLength, OPTION(wrappingApplicator, offsetDefault), kAnyValue, "wrapping applicator offset"),
    FIELD(WrappingApplicator.wrapPos, kNone, OPTION(wrappingApplicator, wrapPosDefault), kAnyValue, "wrapping position"),
    FIELD(WrappingApplicator.reserved, kNone, k0, kAnyValue, "reserved"),
    FIELD(IoModule.enabled, kNone, FITTED(ioModule), kDeviceFlag, "I/O module in use"),
    FIELD(IoModule.offset, kLength, OPTION(ioModule, offsetDefault), kAnyValue, "I/O module offset"),

    FIELD(PaperWidth, kLength, FROM(label.widthDefault),
          Range(FROM(label.widthMin), FROM(label.widthMax), FROM(label.widthDefault)), "label width"),
    FIELD(PaperHeight, kLength, FROM(label.heightDefault),
          Range(FROM(label.heightMin), FROM(label.heightMax), FROM(label.heightDefault)), "label length"),
    FIELD(ImageOptimization, kNone, FROM(generalSettings.imageOptByDefault),
          Offered(FROM(generalSettings.imageOptEnabled), Flag(FROM(generalSettings.imageOptByDefault))), "optimise images"),
    FIELD(CustomCommandSelectedPosition, kNone, k0, Range(0, 3, k0), "command position shown in the user interface"),
    FIELD(CustomCommandSelectedTypeStart, kNone, k0, kTypeOfCommand, "start command type shown in the user interface"),
    FIELD(CustomCommandSelectedTypeEnd, kNone, k0, kTypeOfCommand, "end command type shown in the user interface"),
    FIELD(CustomCommandDocumentStartType, kNone, k0, kTypeOfCommand, "type of the command before the document"),
    FIELD(CustomCommandDocumentEndType, kNone, k0, kTypeOfCommand, "type of the command after the document"),
    FIELD(CustomCommandDocumentDataStartType, kNone, k0, kTypeOfCommand, "type of the command before the document's data"),
    FIELD(CustomCommandDocumentDataEndType, kNone, k0, kTypeOfCommand, "type of the command after the document's data"),
    FIELD(CustomCommandPageStartType, kNone, k0, kTypeOfCommand, "type of the command before each page"),
    FIELD(CustomCommandPageEndType, kNone, k0, kTypeOfCommand, "type of the command after each page"),
    FIELD(CustomCommandPageDataStartType, kNone, k0, kTypeOfCommand, "type of the command before each page's data"),
    FIELD(CustomCommandPageDataEndType, kNone, k0, kTypeOfCommand, "type of the command after each page's data"),
    FIELD(CustomCommandDocumentStart, kNone, k0, kTerminatedText, "command before the document"),
    FIELD(CustomCommandDocumentEnd, kNone, k0, kTerminatedText, "command after the document"),
    FIELD(CustomCommandDocumentDataStart, kNone, k0, kTerminatedText, "command before the document's data"),
    FIELD(CustomCommandDocumentDataEnd, kNone, k0, kTerminatedText, "command after the document's data"),
    FIELD(CustomCommandPageStart, kNone, k0, kTerminatedText, "command before each page"),
    FIELD(CustomCommandPageEnd, kNone, k0, kTerminatedText, "command after each page"),
    FIELD(CustomCommandPageDataStart, kNone, k0, kTerminatedText, "command before each page's data"),
    FIELD(CustomCommandPageDataEnd, kNone, k0, kTerminatedText, "command after each page's data"),
    FIELD(Setting2576, kNone, Constant(255), kAnyValue, "unnamed setting"),
    CARRIED(Reserved2580, "reserved"),
    FIELD(Setting2584, kNone, k0, kAnyValue, "unnamed setting"),
    CARRIED(Reserved2588, "reserved"),
    FIELD(Setting2596, kNone, Constant(15), kAnyValue, "unnamed setting"),
    FIELD(GrayTolerance, kNone, Constant(128), Range(0, 255, Constant(128)), "grey threshold for dithering"),
    FIELD(DitheringAlgorithm, kNone, Constant(1), Range(1, 5, Constant(1)),
          "dithering method: 1 Floyd-Steinberg, 2 Sierra Lite, 3 ordered 4 x 4, 4 ordered 8 x 8, 5 ordered 16 x 16"),

    FIELD(BarcodeVerifierWithPeel.enabled, kNone, FITTED(barcodeVerifierWithPeel), kDeviceFlag, "barcode verifier with peel-off in use"),
    FIELD(BarcodeVerifierWithPeel.offset, kLength, OPTION(barcodeVerifierWithPeel, offsetDefault), kAnyValue,
          "barcode verifier offset"),
    FIELD(BeltApplicator.enabled, kNone, FITTED(beltApplicator), kDeviceFlag, "belt applicator in use"),
    FIELD(BeltApplicator.offset, kLength, OPTION(beltApplicator, offsetDefault), kAnyValue, "belt applicator offset"),
    FIELD(BeltApplicator.startDelayPrint, kNone, OPTION(beltApplicator, startDelayPrintDefault), kAnyValue, "delay until printing starts"),
    FIELD(BeltApplicator.labelPosition, kNone, OPTION(beltApplicator, labelPositionDefault), kAnyValue, "position of the label"),
    FIELD(BeltApplicator.applyRunning, kNone, OPTION(beltApplicator, applyRunningDefault), kAnyValue, "apply labels while the belt is running"),
    FIELD(BeltApplicator.conveyorSpeed, kSpeed, OPTION(beltApplicator, conveyorSpeedDefault / 1000), kAnyValue, "belt speed"),
    FIELD(DispensingModule.enabled, kNone, FITTED(dispensingModule), kDeviceFlag, "dispensing module in use"),
    FIELD(PauseAdapter.enabled, kNone, FITTED(pauseAdapter), kDeviceFlag, "pause adapter in use"),
    Renamed("RibbonSaver.enabled", FIELD(RibbonSaverOption.enabled, kNone, FITTED(ribbonSaver), kDeviceFlag, "ribbon saver fitted")),

    FIELD(StockItemGuid, kNone, k0, kAnyValue, "selected stock item; all zeros for none"),
    FIELD(AllowCustomPageSize, kNone, Constant(1), Flag(Constant(1)), "accept page sizes set by the application"),
    FIELD(SoftwareOptimizationAux, kNone, k0, Offered(FROM(generalSettings.replaceContentEnabled), Flag(k0)),
          "second flag of the software optimisation"),
    FIELD(Darkness2, kNone, FROM(darkness.defaultValue), OneOf(AllowedList::kDarkness, FROM(darkness.defaultValue)),
          "print darkness of the second head"),
    FIELD(Reserved2680, kNone, k0, kAnyValue, "reserved"),
    FIELD(LengthScaling, "steps", k0, Range(-5, 5, k0), "stretch or shrink the image along the label"),
};
// clang-format on

consteval bool CoverTheRecord() {
  std::size_t end = 0;
  for (const RecordField& field : kFields) {
    if (field.offset != end) return false;
    end += field.width;
  }
  return end == sizeof(tagOEMDEV);
}
static_assert(CoverTheRecord());

consteval const RecordField* Field(std::string_view name) {
  for (const RecordField& field : kFields) {
    if (field.name == name) return &field;
  }
  throw "no such field";
}
consteval RecordCheck Check(const char* name) { return {name, Field(name)}; }

// The order of validation.
constexpr RecordCheck kChecks[] = {
    Check("OutputFormatPNG"),
    Check("PaperWidth"),
    Check("PaperHeight"),
    Check("UnprintableLeft"),
    Check("UnprintableRight"),
    {"UnprintableRight", Field("UnprintableRight"), Field("UnprintableLeft"), Field("PaperWidth")},
    Check("UnprintableTop"),
    Check("UnprintableBottom"),
    {"UnprintableBottom", Field("UnprintableBottom"), Field("UnprintableTop"),
     Field("PaperHeight")},
    Check("OffsetX"),
    Check("OffsetY"),
    Check("LengthScaling"),
    Check("IgnorePaperEnd"),
    Check("Mirror"),
    Check("Invert"),
    Check("TopSideSameAsBottom"),
    Check("Rotation"),
    Check("PrintMode"),
    Check("BackFeedMode"),
    Check("BackFeedSpeed"),
    Check("SensorType"),
    Check("GapDistance"),
    Check("UnitOfMeasure"),
    Check("PrintSpeed"),
    Check("Darkness"),
    Check("Darkness2"),
    Check("RibbonSaver"),
    Check("SingleBufferMode"),
    Check("IgnoreLabelPosition"),
    Check("SoftwareOptimization"),
    // Kept for compatibility: both fields have one name.
    {"SoftwareOptimization", Field("SoftwareOptimizationAux")},
    Check("ImageOptimization"),
    Check("CustomCommandSelectedPosition"),
    Check("CustomCommandSelectedTypeStart"),
    Check("CustomCommandSelectedTypeEnd"),
    Check("CustomCommandDocumentStartType"),
    Check("CustomCommandDocumentEndType"),
    Check("CustomCommandDocumentDataStartType"),
    Check("CustomCommandDocumentDataEndType"),
    Check("CustomCommandPageStartType"),
    Check("CustomCommandPageEndType"),
    Check("CustomCommandPageDataStartType"),
    Check("CustomCommandPageDataEndType"),
    Check("CustomCommandDocumentStart"),
    Check("CustomCommandDocumentEnd"),
    Check("CustomCommandDocumentDataStart"),
    Check("CustomCommandDocumentDataEnd"),
    Check("CustomCommandPageStart"),
    Check("CustomCommandPageEnd"),
    Check("CustomCommandPageDataStart"),
    Check("CustomCommandPageDataEnd"),
    Check("GrayTolerance"),
    Check("DitheringAlgorithm"),
    Check("AllowCustomPageSize"),
    Check("Applicator.enabled"),
    Check("BarcodeVerifier.enabled"),
    Check("BarcodeVerifierWithPeel.enabled"),
    Check("BeltApplicator.enabled"),
    Check("Cutter.enabled"),
    Check("DispensingModule.enabled"),
    Check("PauseAdapter.enabled"),
    Check("PeelOff.enabled"),
    Check("IoModule.enabled"),
    Check("Perforator.enabled"),
    Check("Rewinder.enabled"),
    Check("RibbonSaver.enabled"),
    Check("TearOff.enabled"),
    // Kept for compatibility: the tube applicator's check uses the tear-off edge's field.
    {"TubeApplicator.enabled", Field("TearOff.enabled")},
};
static_assert(std::size(kChecks) == kRecordChecks);

/// Whether a list contains a value of the record.
bool IsAllowed(const Config& config, AllowedList list, std::int32_t value) {
  const Device& device = config.device;
  switch (list) {
    case AllowedList::kPrintSpeeds:
      return std::ranges::any_of(device.printSpeeds.speeds,
                                 [value](std::int32_t speed) { return speed / 1000 == value; });
    case AllowedList::kSensorTypes:
      return std::ranges::find(device.sensorTypes.types, value, &SensorType::type) !=
             device.sensorTypes.types.end();
    case AllowedList::kDarkness:
      return std::ranges::find(device.darkness.values, value) != device.darkness.values.end();
  }
  return false;
}

bool IsWithin(const Config& config, const RecordField& field, std::uint32_t bits) {
  const FieldRule& rule = field.rule;
  if (rule.kind == FieldRule::kList) {
    return IsAllowed(config, rule.list, static_cast<std::int32_t>(bits));
  }
  const std::int32_t min = rule.min.In(config);
  const std::int32_t max = rule.max.In(config);
  if (field.kind == FieldKind::kSigned) {
    const auto value = static_cast<std::int32_t>(bits);
    return value >= min && value <= max;
  }
  return bits >= static_cast<std::uint32_t>(min) && bits <= static_cast<std::uint32_t>(max);
}

/// Sets the last byte of a text to NUL; true if the text had no NUL.
bool TerminateText(tagOEMDEV* record, const RecordField& field) {
  char* text = reinterpret_cast<char*>(record) + field.offset;
  const bool isEndless = std::memchr(text, '\0', field.width) == nullptr;
  text[field.width - 1] = '\0';
  return isEndless;
}

}  // namespace

std::span<const RecordField> RecordFields() { return kFields; }

std::span<const RecordCheck> RecordChecks() { return kChecks; }

Corrections RepairRecord(const Config& config, tagOEMDEV* record) {
  Corrections corrections;
  for (const RecordCheck& check : kChecks) {
    const RecordField& field = *check.field;
    if (field.rule.kind == FieldRule::kTerminated) {
      if (TerminateText(record, field)) corrections.Add({&check, 0, 0});
      continue;
    }
    const std::uint32_t before = FieldBits(*record, field);
    std::uint32_t after = before;
    if (check.opposite != nullptr) {
      // Kept for compatibility: an opposite margin wider than the size makes this one wrap.
      const std::uint32_t opposite = FieldBits(*record, *check.opposite);
      const std::uint32_t size = FieldBits(*record, *check.size);
      if (opposite + before > size) after = size - opposite;
      if (after == before) continue;
    } else {
      if (field.rule.offered.In(config) == 0 || IsWithin(config, field, before)) continue;
      after = static_cast<std::uint32_t>(field.rule.fallback.In(config));
    }
    SetFieldBits(record, field, after);
    corrections.Add({&check, before, after});
  }
  return corrections;
}

std::wstring DescribeCorrections(std::span<const Correction> corrections) {
  std::string text;
  const auto appendNumber = [&text](std::uint32_t bits) {
    char digits[16];
    const auto end = std::to_chars(digits, std::end(digits), static_cast<std::int32_t>(bits)).ptr;
    text.append(digits, end);
  };
  for (const Correction& correction : corrections) {
    text += correction.check->name;
    text += ':';
    if (correction.check->field->kind == FieldKind::kText) {
      text += "trunked to ";
      appendNumber(tagOEMDEV::kCommandSize);
      text += " chars";
    } else {
      appendNumber(correction.before);
      text += "->";
      appendNumber(correction.after);
      text += ' ';
    }
  }
  return {text.begin(), text.end()};
}

std::vector<std::int32_t> AllowedValues(const Config& config, AllowedList list) {
  const Device& device = config.device;
  std::vector<std::int32_t> values;
  switch (list) {
    case AllowedList::kPrintSpeeds:
      for (const std::int32_t speed : device.printSpeeds.speeds) values.push_back(speed / 1000);
      break;
    case AllowedList::kSensorTypes:
      for (const SensorType& sensor : device.sensorTypes.types) values.push_back(sensor.type);
      break;
    case AllowedList::kDarkness:
      values = device.darkness.values;
      break;
  }
  return values;
}

void FillDefaults(const Config& config, tagOEMDEV* record) {
  for (const RecordField& field : kFields) {
    if (!field.hasDefault) continue;
    if (field.width <= sizeof(std::uint32_t)) {
      SetFieldBits(record, field, static_cast<std::uint32_t>(field.byDefault.In(config)));
    } else {
      std::memset(reinterpret_cast<std::uint8_t*>(record) + field.offset, 0, field.width);
    }
  }
}

}  // namespace orv
