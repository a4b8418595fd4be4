#include "tools/printer_app/fields.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace orv::printer_app {
namespace {

struct Tracking {
  std::int32_t sensor;
  pappl_media_tracking_t tracking;
};
// The order decides which of two reflective sensors is used. The external edges have no word.
constexpr Tracking kTrackings[] = {
    {0, PAPPL_MEDIA_TRACKING_CONTINUOUS},
    {2, PAPPL_MEDIA_TRACKING_GAP},
    {3, PAPPL_MEDIA_TRACKING_MARK},
    {1, PAPPL_MEDIA_TRACKING_MARK},
};

using Limits = std::optional<std::pair<std::int32_t, std::int32_t>>;

/// A parameter of an optional device: the range that the configuration gives it.
struct DeviceField {
  std::string_view name;
  Limits (*limits)(const Config& config);
};

/// The option that the printer uses: its default one, or else the first.
template <typename Family>
auto UsedOption(const Family& family) {
  const auto byDefault = std::ranges::find_if(
      family.options, [](const auto& option) { return option.isDefault != 0; });
  if (byDefault != family.options.end()) return &*byDefault;
  return family.options.empty() ? nullptr : &family.options.front();
}

#define DEVICE_FIELD(name, family, minimum, maximum)                  \
  DeviceField {                                                       \
    name, [](const Config& config) -> Limits {                        \
      const auto* option = UsedOption(config.device.family);          \
      if (option == nullptr) return {};                               \
      return std::pair<std::int32_t, std::int32_t>{minimum, maximum}; \
    }                                                                 \
  }
#define SWITCH(block, family) DEVICE_FIELD(block ".enabled", family, 0, 1)
#define PARAMETER(name, family, member) \
  DEVICE_FIELD(name, family, option->member##Min, option->member##Max)

// clang-format off
constexpr DeviceField kDeviceFields[] = {
    SWITCH("BarcodeVerifier", barcodeVerifier),
    SWITCH("BarcodeVerifierWithPeel", barcodeVerifierWithPeel),
    SWITCH("BeltApplicator", beltApplicator),
    SWITCH("DispensingModule", dispensingModule),
    SWITCH("IoModule", ioModule),
    SWITCH("PauseAdapter", pauseAdapter),
    SWITCH("Perforator", perforator),
    SWITCH("RibbonSaver", ribbonSaver),
    SWITCH("TubeApplicator", tubeApplicator),
    SWITCH("WrappingApplicator", wrappingApplicator),
    PARAMETER("Cutter.offset1", cutter, offset1),
    PARAMETER("Cutter.offset2", cutter, offset2),
    PARAMETER("PeelOff.offset", peelOff, offset),
    PARAMETER("Applicator.offset", applicator, offset),
    PARAMETER("Applicator.startDelayPrint", applicator, startDelayPrint),
    PARAMETER("Applicator.lockTime", applicator, lockTime),
    PARAMETER("Applicator.blowTime", applicator, blowTime),
    PARAMETER("Applicator.startDelaySupportingAir", applicator, startDelaySupportingAir),
    PARAMETER("Applicator.stopDelaySupportingAir", applicator, stopDelaySupportingAir),
    PARAMETER("Perforator.offset1", perforator, offset1),
    PARAMETER("Perforator.offset2", perforator, offset2),
    PARAMETER("Perforator.perforatorDeepness", perforator, perforatorDeepness),
    PARAMETER("IoModule.offset", ioModule, offset),
    PARAMETER("TubeApplicator.offset", tubeApplicator, offset),
    PARAMETER("WrappingApplicator.offset", wrappingApplicator, offset),
    PARAMETER("WrappingApplicator.wrapPos", wrappingApplicator, wrapPos),
    PARAMETER("BarcodeVerifierWithPeel.offset", barcodeVerifierWithPeel, offset),
    PARAMETER("BeltApplicator.offset", beltApplicator, offset),
    PARAMETER("BeltApplicator.startDelayPrint", beltApplicator, startDelayPrint),
    PARAMETER("BeltApplicator.labelPosition", beltApplicator, labelPosition),
    PARAMETER("BeltApplicator.applyRunning", beltApplicator, applyRunning),
};
// clang-format on

/// General settings without a word in IPP, the most useful ones first.
constexpr std::string_view kGeneralFields[] = {
    "DitheringAlgorithm",
    "GrayTolerance",
    "PrintMode",
    "Darkness2",
    "Rotation",
    "Mirror",
    "Invert",
    "TopSideSameAsBottom",
    "SensorType",
    "GapDistance",
    "BackFeedMode",
    "BackFeedSpeed",
    "RibbonSaver",
    "IgnorePaperEnd",
    "SingleBufferMode",
    "IgnoreLabelPosition",
    "LengthScaling",
    "SoftwareOptimization",
    "ImageOptimization",
};

/// The values that the record's rule allows; nothing if the printer does not offer the setting.
Limits RuleLimits(const Config& config, const RecordField& field) {
  const FieldRule& rule = field.rule;
  if (rule.offered.In(config) == 0) return {};
  if (rule.kind == FieldRule::kRange) return std::pair{rule.min.In(config), rule.max.In(config)};
  const std::vector<std::int32_t> values = AllowedValues(config, rule.list);
  if (rule.kind != FieldRule::kList || values.empty()) return {};
  const auto [least, most] = std::ranges::minmax(values);
  // The default is allowed although the list may lack it.
  const std::int32_t byDefault = field.byDefault.In(config);
  return std::pair{std::min(least, byDefault), std::max(most, byDefault)};
}

}  // namespace

const RecordField* FieldNamed(std::string_view name) {
  const auto found = std::ranges::find(RecordFields(), name, &RecordField::name);
  return found != RecordFields().end() ? &*found : nullptr;
}

std::string OptionName(const RecordField& field) {
  std::string name = field.name;
  std::ranges::replace(name, '.', '-');
  return name;
}

const RecordField* FieldOfOption(std::string option) {
  std::ranges::replace(option, '-', '.');
  return FieldNamed(option);
}

const std::vector<LabelMode>& LabelModes() {
#define MODE(mode, field, family)                                                           \
  {                                                                                         \
    mode, field, [](const Config& config) { return !config.device.family.options.empty(); } \
  }
  static const std::vector<LabelMode> modes = {
      MODE(PAPPL_LABEL_MODE_TEAR_OFF, "TearOff.enabled", tearOff),
      MODE(PAPPL_LABEL_MODE_CUTTER, "Cutter.enabled", cutter),
      MODE(PAPPL_LABEL_MODE_PEEL_OFF, "PeelOff.enabled", peelOff),
      MODE(PAPPL_LABEL_MODE_REWIND, "Rewinder.enabled", rewinder),
      MODE(PAPPL_LABEL_MODE_APPLICATOR, "Applicator.enabled", applicator),
  };
#undef MODE
  return modes;
}

pappl_media_tracking_t TrackingOf(std::int32_t sensor) {
  const auto* found = std::ranges::find(kTrackings, sensor, &Tracking::sensor);
  return found != std::end(kTrackings) ? found->tracking : pappl_media_tracking_t{0};
}

std::optional<std::int32_t> SensorOf(const Config& config, pappl_media_tracking_t tracking) {
  const std::vector<std::int32_t> offered = AllowedValues(config, AllowedList::kSensorTypes);
  for (const Tracking& row : kTrackings) {
    if (row.tracking == tracking && std::ranges::find(offered, row.sensor) != offered.end()) {
      return row.sensor;
    }
  }
  return {};
}

int DarknessPercent(const Config& config, std::int32_t level) {
  const std::vector<std::int32_t>& levels = config.device.darkness.values;
  if (levels.size() < 2) return 0;
  const auto index = std::ranges::lower_bound(levels, level) - levels.begin();
  const auto last = static_cast<std::ptrdiff_t>(levels.size()) - 1;
  return static_cast<int>((100 * std::min(index, last) + last / 2) / last);
}

std::int32_t DarknessLevel(const Config& config, int percent) {
  const std::vector<std::int32_t>& levels = config.device.darkness.values;
  if (levels.empty()) return config.device.darkness.defaultValue;
  const std::size_t last = levels.size() - 1;
  return levels[(last * static_cast<std::size_t>(std::clamp(percent, 0, 100)) + 50) / 100];
}

std::vector<VendorField> VendorFields(const Config& config, std::size_t max) {
  std::vector<VendorField> fields;
  const auto add = [&](std::string_view name, const Limits& limits) {
    const RecordField* field = FieldNamed(name);
    if (field == nullptr || !limits || limits->first >= limits->second || fields.size() == max) {
      return;
    }
    // Lengths that a device counts from its own position can be negative.
    fields.push_back({field, limits->first, limits->second, field->byDefault.In(config)});
  };
  for (const std::string_view name : kGeneralFields) {
    const RecordField* field = FieldNamed(name);
    if (field != nullptr) add(name, RuleLimits(config, *field));
  }
  for (const DeviceField& device : kDeviceFields) add(device.name, device.limits(config));
  return fields;
}

}  // namespace orv::printer_app
