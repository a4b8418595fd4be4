#include <algorithm>
#include <cstring>
#include <iterator>

#include "devmode/merge.h"
#include "orv/devmode/oemdev.h"

namespace orv {
namespace {

/// Lengths of the legacy layout are a hundredth of the settings'.
constexpr std::uint32_t kLengthFactor = 100;

using NumberConversion = std::uint32_t (*)(std::uint32_t value);

std::uint32_t Same(std::uint32_t value) { return value; }
std::uint32_t IsOne(std::uint32_t value) { return value == 1; }
std::uint32_t Finer(std::uint32_t value) { return value * kLengthFactor; }
std::uint32_t Coarser(std::uint32_t value) { return value / kLengthFactor; }
/// Divides towards zero.
std::uint32_t CoarserSigned(std::uint32_t value) {
  return static_cast<std::uint32_t>(static_cast<std::int32_t>(value) /
                                    static_cast<std::int32_t>(kLengthFactor));
}
/// Its own inverse.
std::uint32_t SwapTurns(std::uint32_t value) {
  constexpr std::uint32_t kTurns[] = {0, 2, 1, 3};
  return value < std::size(kTurns) ? kTurns[value] : 0;
}
std::uint32_t OneToFive(std::uint32_t value) { return value <= 5 ? value : 0; }
std::uint32_t OneOrTwo(std::uint32_t value) { return value <= 2 ? value : 0; }
std::uint32_t IsNotTwo(std::uint32_t value) { return value != 2; }
std::uint32_t OneOrElseTwo(std::uint32_t value) { return value != 0 ? 1 : 2; }
std::uint32_t IsZero(std::uint32_t value) { return value == 0; }
std::uint32_t IsNotOne(std::uint32_t value) { return value != 1; }

/// A number of the legacy layout and its setting; both have the same width.
struct NumberMapping {
  const char* setting;
  std::size_t epOffset;
  std::size_t offset;
  std::size_t width;
  NumberConversion toSetting;
  NumberConversion toEp;  ///< null: another row writes the field
};

#define MAPPING(epOffset, member, ...)                                 \
  NumberMapping {                                                      \
#member, epOffset, offsetof(tagOEMDEV, member),                    \
        sizeof(static_cast <tagOEMDEV*>(nullptr)->member), __VA_ARGS__ \
  }

constexpr NumberMapping kNumbers[] = {
    MAPPING(236, CustomCommandDocumentStartType, Same, Same),
    MAPPING(238, CustomCommandDocumentEndType, Same, Same),
    MAPPING(240, CustomCommandPageStartType, Same, Same),
    MAPPING(242, CustomCommandPageEndType, Same, Same),
    MAPPING(564, CustomCommandDocumentDataStartType, Same, Same),
    MAPPING(566, CustomCommandDocumentDataEndType, Same, Same),
    MAPPING(568, CustomCommandPageDataStartType, Same, Same),
    MAPPING(570, CustomCommandPageDataEndType, Same, Same),
    MAPPING(892, Darkness2, Same, Same),
    MAPPING(1252, Darkness, Same, Same),
    MAPPING(1256, PrintSpeed, Same, Same),
    MAPPING(1260, SensorType, OneToFive, OneToFive),
    MAPPING(1272, RibbonSaver, IsOne, IsOne),
    MAPPING(1276, OffsetY, Finer, CoarserSigned),
    MAPPING(1280, GapDistance, Finer, Coarser),
    // The legacy layout has one offset for both devices; the peel-off device's goes back.
    MAPPING(1284, PeelOff.offset, Finer, Coarser),
    MAPPING(1284, IoModule.offset, Finer, nullptr),
    MAPPING(1288, OffsetX, Finer, CoarserSigned),
    MAPPING(1356, SoftwareOptimization, IsNotTwo, OneOrElseTwo),
    MAPPING(1360, PrintMode, IsZero, IsNotOne),
    MAPPING(1368, Mirror, IsOne, IsOne),
    MAPPING(1504, BackFeedMode, OneOrTwo, OneOrTwo),
    MAPPING(1508, Invert, IsOne, IsOne),
};

/// The rotation is the one setting that is narrower in the legacy layout.
constexpr std::size_t kEpRotation = 230;

/// The cutting mode folds two flags into one word.
constexpr std::size_t kEpCuttingMode = 1500;
enum CuttingMode : std::uint32_t { kNoCut = 0, kTearOff = 1, kPeelOff = 2 };

/// A command string, the same bytes in both layouts.
struct TextMapping {
  const char* setting;
  std::size_t epOffset;
  std::size_t offset;
};

#define TEXT_MAPPING(epOffset, member) \
  { #member, epOffset, offsetof(tagOEMDEV, member) }

constexpr TextMapping kTexts[] = {
    TEXT_MAPPING(244, CustomCommandDocumentStart),
    TEXT_MAPPING(324, CustomCommandDocumentEnd),
    TEXT_MAPPING(404, CustomCommandPageStart),
    TEXT_MAPPING(484, CustomCommandPageEnd),
    TEXT_MAPPING(572, CustomCommandDocumentDataStart),
    TEXT_MAPPING(652, CustomCommandDocumentDataEnd),
    TEXT_MAPPING(732, CustomCommandPageDataStart),
    TEXT_MAPPING(812, CustomCommandPageDataEnd),
};

std::uint32_t Load(const std::uint8_t* bytes, std::size_t width) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes, width);
  return value;
}

void Store(std::uint8_t* bytes, std::size_t width, std::uint32_t value) {
  std::memcpy(bytes, &value, width);
}

}  // namespace

void ReadLegacyLayout(tagOEMDEV* record) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(record);
  for (const NumberMapping& number : kNumbers) {
    Store(bytes + number.offset, number.width,
          number.toSetting(Load(bytes + number.epOffset, number.width)));
  }
  for (const TextMapping& text : kTexts) {
    std::memcpy(bytes + text.offset, bytes + text.epOffset, tagOEMDEV::kCommandSize);
  }
  record->Rotation = SwapTurns(Load(bytes + kEpRotation, sizeof(std::uint16_t)));
  const std::uint32_t cuttingMode = Load(bytes + kEpCuttingMode, sizeof(std::uint32_t));
  record->TearOff.enabled = cuttingMode == kTearOff;
  record->PeelOff.enabled = cuttingMode == kPeelOff;
}

void WriteLegacyLayout(tagOEMDEV* record) {
  auto* bytes = reinterpret_cast<std::uint8_t*>(record);
  for (const NumberMapping& number : kNumbers) {
    if (number.toEp == nullptr) continue;
    Store(bytes + number.epOffset, number.width,
          number.toEp(Load(bytes + number.offset, number.width)));
  }
  for (const TextMapping& text : kTexts) {
    std::memcpy(bytes + text.epOffset, bytes + text.offset, tagOEMDEV::kCommandSize);
  }
  Store(bytes + kEpRotation, sizeof(std::uint16_t), SwapTurns(record->Rotation));
  Store(bytes + kEpCuttingMode, sizeof(std::uint32_t),
        record->TearOff.enabled != 0   ? kTearOff
        : record->PeelOff.enabled != 0 ? kPeelOff
                                       : kNoCut);
}

std::vector<LegacyField> LegacyFields() {
  std::vector<LegacyField> fields = {
      {"Rotation", kEpRotation, sizeof(std::uint16_t)},
      {"TearOff.enabled, PeelOff.enabled", kEpCuttingMode, sizeof(std::uint32_t)}};
  for (const NumberMapping& number : kNumbers) {
    fields.push_back({number.setting, number.epOffset, number.width});
  }
  for (const TextMapping& text : kTexts) {
    fields.push_back({text.setting, text.epOffset, tagOEMDEV::kCommandSize});
  }
  std::ranges::stable_sort(fields, {}, &LegacyField::offset);
  return fields;
}

}  // namespace orv
