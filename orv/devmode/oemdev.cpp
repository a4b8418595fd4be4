#include "orv/devmode/oemdev.h"

#include <cstring>
#include <iterator>

namespace {

constexpr wchar_t kSource[] = L"DevMode";

/// Lengths of the older layout are a hundredth of the settings'.
constexpr std::uint32_t kLengthFactor = 100;

using Conversion = std::uint32_t (*)(std::uint32_t value);

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

/// A number of the older layout and the setting that it stands for; both have the same width.
struct NumberMapping {
  std::size_t epOffset;
  std::size_t offset;
  std::size_t width;
  Conversion toSetting;
  Conversion toEp;  ///< null: another row writes the word
};

#define SETTING(member) offsetof(tagOEMDEV, member), sizeof(tagOEMDEV::member)

constexpr NumberMapping kNumbers[] = {
    {236, SETTING(CustomCommandDocumentStartType), Same, Same},
    {238, SETTING(CustomCommandDocumentEndType), Same, Same},
    {240, SETTING(CustomCommandPageStartType), Same, Same},
    {242, SETTING(CustomCommandPageEndType), Same, Same},
    {564, SETTING(CustomCommandDocumentDataStartType), Same, Same},
    {566, SETTING(CustomCommandDocumentDataEndType), Same, Same},
    {568, SETTING(CustomCommandPageDataStartType), Same, Same},
    {570, SETTING(CustomCommandPageDataEndType), Same, Same},
    {892, SETTING(Darkness2), Same, Same},
    {1252, SETTING(Darkness), Same, Same},
    {1256, SETTING(PrintSpeed), Same, Same},
    {1260, SETTING(SensorType), OneToFive, OneToFive},
    {1272, SETTING(RibbonSaver), IsOne, IsOne},
    {1276, SETTING(OffsetY), Finer, CoarserSigned},
    {1280, SETTING(GapDistance), Finer, Coarser},
    // The older layout has one offset for both devices; the peel-off device's goes back.
    {1284, offsetof(tagOEMDEV, PeelOff.offset), sizeof(std::uint32_t), Finer, Coarser},
    {1284, offsetof(tagOEMDEV, IoModule.offset), sizeof(std::uint32_t), Finer, nullptr},
    {1288, SETTING(OffsetX), Finer, CoarserSigned},
    {1356, SETTING(SoftwareOptimization), IsNotTwo, OneOrElseTwo},
    {1360, SETTING(PrintMode), IsZero, IsNotOne},
    {1368, SETTING(Mirror), IsOne, IsOne},
    {1504, SETTING(BackFeedMode), OneOrTwo, OneOrTwo},
    {1508, SETTING(Invert), IsOne, IsOne},
};

/// The rotation is the one setting that is narrower in the older layout.
constexpr std::size_t kEpRotation = 230;

/// The cutting mode folds two flags into one word.
constexpr std::size_t kEpCuttingMode = 1500;
enum CuttingMode : std::uint32_t { kNoCut = 0, kTearOff = 1, kPeelOff = 2 };

/// A command string, the same bytes in both layouts.
struct TextMapping {
  std::size_t epOffset;
  std::size_t offset;
};

constexpr TextMapping kTexts[] = {
    {244, offsetof(tagOEMDEV, CustomCommandDocumentStart)},
    {324, offsetof(tagOEMDEV, CustomCommandDocumentEnd)},
    {404, offsetof(tagOEMDEV, CustomCommandPageStart)},
    {484, offsetof(tagOEMDEV, CustomCommandPageEnd)},
    {572, offsetof(tagOEMDEV, CustomCommandDocumentDataStart)},
    {652, offsetof(tagOEMDEV, CustomCommandDocumentDataEnd)},
    {732, offsetof(tagOEMDEV, CustomCommandPageDataStart)},
    {812, offsetof(tagOEMDEV, CustomCommandPageDataEnd)},
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

BOOL ConvertOEMDevmodeVersions(CLoggerClient* logger, const tagOEMDEV* in, tagOEMDEV* out) {
  CLogger::LOG_TRACE(logger, L"Drevik.ConvertOEMDevmodeVersions START", kSource);
  const std::uint32_t version = in->dwVersion;
  if (version == 0 || version > tagOEMDEV::kVersion) {
    orv::LogFormat(eLogLevelError, logger, kSource,
                   L"Drevik.ConvertOEMDevmodeVersions: END (FALSE, IN-version %d is unknown for "
                   L"current version %d)",
                   static_cast<int>(version), static_cast<int>(tagOEMDEV::kVersion));
    return FALSE;
  }
  if (version < tagOEMDEV::kVersion) {
    orv::LogFormat(eLogLevelError, logger, kSource,
                   L"Drevik.ConvertOEMDevmodeVersions: OEMDevMode version %d is not handled!",
                   static_cast<int>(version));
    CLogger::LOG_ERROR(logger, L"Drevik.ConvertOEMDevmodeVersions END (FALSE)", kSource);
    return FALSE;
  }
  std::memmove(out, in, sizeof(tagOEMDEV));
  CLogger::LOG_TRACE(logger, L"Drevik.ConvertOEMDevmodeVersions END (TRUE)", kSource);
  return TRUE;
}

void ConvertEp2Orv(tagOEMDEV* record) {
  if (record == nullptr) return;
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

void ConvertOrv2Ep(tagOEMDEV* record) {
  if (record == nullptr) return;
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
