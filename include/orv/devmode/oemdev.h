#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"

struct Config;

/// The private settings record that the spooler stores after the public device mode of every
/// printer and document, and returns years later: a storage format, 2688 bytes, little-endian.
/// Lengths are thousandths of a millimetre, speeds and darkness plain numbers, flags 0 or 1.
///
///     tagOEMDEV record{};
///     orv::FillDefaults(*config, &record);
///     record.Darkness = 10;
///     EnsureValidOEMDevmode(logger, config, &record);
///
/// `orv devmode fields` prints the meaning, default and limits of each field.
struct tagOEMDEV {
  static constexpr std::uint32_t kSize = 2688;             ///< bytes
  static constexpr std::uint32_t kSignature = 0x4F525631;  ///< "ORV1", most significant byte first
  static constexpr std::uint32_t kVersion = 16;            ///< the only current version

  static constexpr std::size_t kCommandSize = 80;  ///< bytes of a command string, with its NUL

  /// The header: `kSize`, `kSignature` and `kVersion`.
  std::uint32_t dwSize;
  std::uint32_t dwSignature;
  std::uint32_t dwVersion;

  /// The legacy layout (Ep), carried as received; `ConvertEp2Orv` reads and `ConvertOrv2Ep` writes
  /// it.
  std::uint8_t EpLayout[1608];

  /// Page, sensor, speed and darkness.
  std::uint32_t OutputFormatPNG;
  std::uint32_t UnprintableLeft;
  std::uint32_t UnprintableRight;
  std::uint32_t UnprintableTop;
  std::uint32_t UnprintableBottom;
  std::int32_t OffsetX;
  std::int32_t OffsetY;
  std::uint32_t IgnorePaperEnd;
  std::uint32_t Mirror;
  std::uint32_t Invert;
  std::uint32_t TopSideSameAsBottom;
  std::uint32_t Reserved1664;
  std::uint32_t SensorType;
  std::uint32_t GapDistance;
  std::uint32_t Rotation;
  std::uint32_t PrintMode;
  std::uint32_t BackFeedMode;
  std::uint32_t BackFeedSpeed;
  std::uint32_t UnitOfMeasure;
  std::uint32_t PrintSpeed;
  std::int32_t Darkness;
  std::uint32_t RibbonSaver;  ///< the ribbon saver's use; the device itself is `RibbonSaverOption`
  std::uint32_t SingleBufferMode;
  std::uint32_t IgnoreLabelPosition;
  std::uint32_t SoftwareOptimization;

  /// Blocks of the optional devices: whether the device is used, then the device's parameters.
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;                   ///< thousandths of a millimetre
    std::uint32_t startDelaySupportingAir;  ///< until the supporting air starts
    std::uint32_t stopDelaySupportingAir;   ///< until it stops
    std::uint32_t startDelayPrint;          ///< until printing starts
    std::uint32_t lockTime;                 ///< during which start signals are ignored
    std::uint32_t blowTime;                 ///< duration of the air blast
    std::uint32_t reserved;                 ///< 0
  } Applicator;
  struct {
    std::uint32_t enabled;
  } BarcodeVerifier;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset1;  ///< of the first cut
    std::uint32_t offset2;  ///< of the second cut
    std::uint32_t reserved[5];
  } Cutter;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
  } PeelOff;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset1;
    std::uint32_t offset2;
    std::uint32_t perforatorDeepness;  ///< how deep it perforates
    std::uint32_t reserved[10];
  } Perforator;
  struct {
    std::uint32_t enabled;
  } Rewinder;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
  } TearOff;
  struct {
    std::uint32_t enabled;  ///< validation checks `TearOff.enabled` instead
    std::uint32_t offset;
  } TubeApplicator;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
    std::uint32_t wrapPos;  ///< where the label is wrapped around
    std::uint32_t reserved;
  } WrappingApplicator;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
  } IoModule;

  /// The label, the commands before and after documents and pages, and dithering.
  std::uint32_t PaperWidth;
  std::uint32_t PaperHeight;
  std::uint32_t ImageOptimization;
  std::uint32_t CustomCommandSelectedPosition;
  std::uint32_t CustomCommandSelectedTypeStart;
  std::uint32_t CustomCommandSelectedTypeEnd;
  std::uint16_t CustomCommandDocumentStartType;
  std::uint16_t CustomCommandDocumentEndType;
  std::uint16_t CustomCommandDocumentDataStartType;
  std::uint16_t CustomCommandDocumentDataEndType;
  std::uint16_t CustomCommandPageStartType;
  std::uint16_t CustomCommandPageEndType;
  std::uint16_t CustomCommandPageDataStartType;
  std::uint16_t CustomCommandPageDataEndType;
  char CustomCommandDocumentStart[kCommandSize];
  char CustomCommandDocumentEnd[kCommandSize];
  char CustomCommandDocumentDataStart[kCommandSize];
  char CustomCommandDocumentDataEnd[kCommandSize];
  char CustomCommandPageStart[kCommandSize];
  char CustomCommandPageEnd[kCommandSize];
  char CustomCommandPageDataStart[kCommandSize];
  char CustomCommandPageDataEnd[kCommandSize];
  std::uint32_t Setting2576;
  std::uint32_t Reserved2580;
  std::uint32_t Setting2584;
  std::uint32_t Reserved2588[2];
  std::uint32_t Setting2596;
  std::uint32_t GrayTolerance;
  std::uint32_t DitheringAlgorithm;

  /// Blocks of further optional devices.
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
  } BarcodeVerifierWithPeel;
  struct {
    std::uint32_t enabled;
    std::uint32_t offset;
    std::uint32_t startDelayPrint;
    std::uint32_t labelPosition;  ///< where the label is taken
    std::uint32_t applyRunning;   ///< apply while the belt runs
    std::uint32_t conveyorSpeed;  ///< of the belt
  } BeltApplicator;
  struct {
    std::uint32_t enabled;
  } DispensingModule;
  struct {
    std::uint32_t enabled;
  } PauseAdapter;
  struct {
    std::uint32_t enabled;
  } RibbonSaverOption;

  GUID StockItemGuid;  ///< the selected stock item; all zero for none

  /// Page sizes, the second print head, and the scale.
  std::uint32_t AllowCustomPageSize;
  std::uint32_t SoftwareOptimizationAux;
  std::int32_t Darkness2;  ///< of the second print head
  std::uint32_t Reserved2680;
  std::int32_t LengthScaling;
};
using OEMDEV = tagOEMDEV;  ///< another name of the same

static_assert(sizeof(tagOEMDEV) == tagOEMDEV::kSize);
static_assert(offsetof(tagOEMDEV, EpLayout) == 12);
static_assert(offsetof(tagOEMDEV, OutputFormatPNG) == 1620);
static_assert(offsetof(tagOEMDEV, UnprintableLeft) == 1624);
static_assert(offsetof(tagOEMDEV, UnprintableRight) == 1628);
static_assert(offsetof(tagOEMDEV, UnprintableTop) == 1632);
static_assert(offsetof(tagOEMDEV, UnprintableBottom) == 1636);
static_assert(offsetof(tagOEMDEV, OffsetX) == 1640);
static_assert(offsetof(tagOEMDEV, OffsetY) == 1644);
static_assert(offsetof(tagOEMDEV, IgnorePaperEnd) == 1648);
static_assert(offsetof(tagOEMDEV, Mirror) == 1652);
static_assert(offsetof(tagOEMDEV, Invert) == 1656);
static_assert(offsetof(tagOEMDEV, TopSideSameAsBottom) == 1660);
static_assert(offsetof(tagOEMDEV, Reserved1664) == 1664);
static_assert(offsetof(tagOEMDEV, SensorType) == 1668);
static_assert(offsetof(tagOEMDEV, GapDistance) == 1672);
static_assert(offsetof(tagOEMDEV, Rotation) == 1676);
static_assert(offsetof(tagOEMDEV, PrintMode) == 1680);
static_assert(offsetof(tagOEMDEV, BackFeedMode) == 1684);
static_assert(offsetof(tagOEMDEV, BackFeedSpeed) == 1688);
static_assert(offsetof(tagOEMDEV, UnitOfMeasure) == 1692);
static_assert(offsetof(tagOEMDEV, PrintSpeed) == 1696);
static_assert(offsetof(tagOEMDEV, Darkness) == 1700);
static_assert(offsetof(tagOEMDEV, RibbonSaver) == 1704);
static_assert(offsetof(tagOEMDEV, SingleBufferMode) == 1708);
static_assert(offsetof(tagOEMDEV, IgnoreLabelPosition) == 1712);
static_assert(offsetof(tagOEMDEV, SoftwareOptimization) == 1716);
static_assert(offsetof(tagOEMDEV, Applicator) == 1720);
static_assert(offsetof(tagOEMDEV, BarcodeVerifier) == 1752);
static_assert(offsetof(tagOEMDEV, Cutter) == 1756);
static_assert(offsetof(tagOEMDEV, PeelOff) == 1788);
static_assert(offsetof(tagOEMDEV, PeelOff.offset) == 1792);
static_assert(offsetof(tagOEMDEV, Perforator) == 1796);
static_assert(offsetof(tagOEMDEV, Rewinder) == 1852);
static_assert(offsetof(tagOEMDEV, TearOff) == 1856);
static_assert(offsetof(tagOEMDEV, TearOff.offset) == 1860);
static_assert(offsetof(tagOEMDEV, TubeApplicator) == 1864);
static_assert(offsetof(tagOEMDEV, TubeApplicator.offset) == 1868);
static_assert(offsetof(tagOEMDEV, WrappingApplicator) == 1872);
static_assert(offsetof(tagOEMDEV, WrappingApplicator.offset) == 1876);
static_assert(offsetof(tagOEMDEV, WrappingApplicator.wrapPos) == 1880);
static_assert(offsetof(tagOEMDEV, IoModule) == 1888);
static_assert(offsetof(tagOEMDEV, IoModule.offset) == 1892);
static_assert(offsetof(tagOEMDEV, PaperWidth) == 1896);
static_assert(offsetof(tagOEMDEV, PaperHeight) == 1900);
static_assert(offsetof(tagOEMDEV, ImageOptimization) == 1904);
static_assert(offsetof(tagOEMDEV, CustomCommandSelectedPosition) == 1908);
static_assert(offsetof(tagOEMDEV, CustomCommandSelectedTypeStart) == 1912);
static_assert(offsetof(tagOEMDEV, CustomCommandSelectedTypeEnd) == 1916);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentStartType) == 1920);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentEndType) == 1922);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentDataStartType) == 1924);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentDataEndType) == 1926);
static_assert(offsetof(tagOEMDEV, CustomCommandPageStartType) == 1928);
static_assert(offsetof(tagOEMDEV, CustomCommandPageEndType) == 1930);
static_assert(offsetof(tagOEMDEV, CustomCommandPageDataStartType) == 1932);
static_assert(offsetof(tagOEMDEV, CustomCommandPageDataEndType) == 1934);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentStart) == 1936);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentEnd) == 2016);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentDataStart) == 2096);
static_assert(offsetof(tagOEMDEV, CustomCommandDocumentDataEnd) == 2176);
static_assert(offsetof(tagOEMDEV, CustomCommandPageStart) == 2256);
static_assert(offsetof(tagOEMDEV, CustomCommandPageEnd) == 2336);
static_assert(offsetof(tagOEMDEV, CustomCommandPageDataStart) == 2416);
static_assert(offsetof(tagOEMDEV, CustomCommandPageDataEnd) == 2496);
static_assert(offsetof(tagOEMDEV, Setting2576) == 2576);
static_assert(offsetof(tagOEMDEV, Reserved2580) == 2580);
static_assert(offsetof(tagOEMDEV, Setting2584) == 2584);
static_assert(offsetof(tagOEMDEV, Reserved2588) == 2588);
static_assert(offsetof(tagOEMDEV, Setting2596) == 2596);
static_assert(offsetof(tagOEMDEV, GrayTolerance) == 2600);
static_assert(offsetof(tagOEMDEV, DitheringAlgorithm) == 2604);
static_assert(offsetof(tagOEMDEV, BarcodeVerifierWithPeel) == 2608);
static_assert(offsetof(tagOEMDEV, BarcodeVerifierWithPeel.offset) == 2612);
static_assert(offsetof(tagOEMDEV, BeltApplicator) == 2616);
static_assert(offsetof(tagOEMDEV, BeltApplicator.conveyorSpeed) == 2636);
static_assert(offsetof(tagOEMDEV, DispensingModule) == 2640);
static_assert(offsetof(tagOEMDEV, PauseAdapter) == 2644);
static_assert(offsetof(tagOEMDEV, RibbonSaverOption) == 2648);
static_assert(offsetof(tagOEMDEV, StockItemGuid) == 2652);
static_assert(offsetof(tagOEMDEV, AllowCustomPageSize) == 2668);
static_assert(offsetof(tagOEMDEV, SoftwareOptimizationAux) == 2672);
static_assert(offsetof(tagOEMDEV, Darkness2) == 2676);
static_assert(offsetof(tagOEMDEV, Reserved2680) == 2680);
static_assert(offsetof(tagOEMDEV, LengthScaling) == 2684);

extern "C" {

/// Converts the record `in` to the current version in `out`; the two may be the same. A record of
/// the current version is copied; any other fails with an error in the log. Both are required.
ORV_EXPORT BOOL ConvertOEMDevmodeVersions(CLoggerClient* logger, const tagOEMDEV* in,
                                          tagOEMDEV* out);

/// Sets the settings from the legacy layout in the same record. Settings that the legacy layout
/// does not have stay unchanged. A null record is ignored.
ORV_EXPORT void ConvertEp2Orv(tagOEMDEV* record);

/// Sets the legacy layout from the settings of the same record; fields without a setting stay
/// unchanged. Lengths are cut to the legacy layout's unit, a hundred times coarser. A null record
/// is ignored.
ORV_EXPORT void ConvertOrv2Ep(tagOEMDEV* record);

}  // extern "C"

namespace orv {

/// Writes the header and the default of every setting. Bytes that belong to no setting (the legacy
/// layout and three reserved words) stay unchanged.
ORV_EXPORT void FillDefaults(const Config& config, tagOEMDEV* record);

/// A field of the legacy layout and its setting.
struct LegacyField {
  const char* setting;  ///< the name of the setting
  std::size_t offset;   ///< in the record
  std::size_t width;    ///< bytes
};

/// Every field of the legacy layout that has a setting, in the order of their offsets.
ORV_EXPORT std::vector<LegacyField> LegacyFields();

}  // namespace orv
