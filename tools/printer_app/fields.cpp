#include "tools/printer_app/fields.h"

#include <algorithm>
#include <charconv>
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

/// The least and the greatest value; equal if the printer does not offer the setting.
using Limits = std::pair<std::int32_t, std::int32_t>;

/// The option that the printer uses: its default one, or else the first.
template <typename Family>
auto UsedOption(const Family& family) {
  const auto byDefault = std::ranges::find_if(
      family.options, [](const auto& option) { return option.isDefault != 0; });
  if (byDefault != family.options.end()) return &*byDefault;
  return family.options.empty() ? nullptr : &family.options.front();
}

/// The values that the record's rule allows.
Limits RuleLimits(const Config& config, const RecordField& field) {
  const FieldRule& rule = field.rule;
  if (rule.offered.In(config) == 0) return {};
  if (rule.kind == FieldRule::kRange) return {rule.min.In(config), rule.max.In(config)};
  std::vector<std::int32_t> values = AllowedValues(config, rule.list);
  values.push_back(field.byDefault.In(config));  // allowed although the list may lack it
  const auto [least, most] = std::ranges::minmax(values);
  return {least, most};
}

/// A field without a word in IPP, and the range that the configuration gives it.
struct OwnField {
  std::string_view name;
  Limits (*limits)(const Config& config, const RecordField& field) = RuleLimits;
};

#define DEVICE_FIELD(name, family, minimum, maximum)               \
  {                                                                \
    name, [](const Config& config, const RecordField&) -> Limits { \
      const auto* option = UsedOption(config.device.family);       \
      if (option == nullptr) return {};                            \
      return {minimum, maximum};                                   \
    }                                                              \
  }
#define SWITCH(block, family) DEVICE_FIELD(#block ".enabled", family, 0, 1)
// Lengths that a device counts from its own position can be negative.
#define PARAMETER(block, family, member) \
  DEVICE_FIELD(#block "." #member, family, option->member##Min, option->member##Max)

// clang-format off
constexpr OwnField kOwnFields[] = {
    {"DitheringAlgorithm"},
    {"GrayTolerance"},
    {"PrintMode"},
    {"Darkness2"},
    {"Rotation"},
    {"Mirror"},
    {"Invert"},
    {"TopSideSameAsBottom"},
    {"SensorType"},
    {"GapDistance"},
    {"BackFeedMode"},
    {"BackFeedSpeed"},
    {"RibbonSaver"},
    {"IgnorePaperEnd"},
    {"SingleBufferMode"},
    {"IgnoreLabelPosition"},
    {"LengthScaling"},
    {"SoftwareOptimization"},
    {"ImageOptimization"},
    SWITCH(BarcodeVerifier, barcodeVerifier),
    SWITCH(BarcodeVerifierWithPeel, barcodeVerifierWithPeel),
    SWITCH(BeltApplicator, beltApplicator),
    SWITCH(DispensingModule, dispensingModule),
    SWITCH(IoModule, ioModule),
    SWITCH(PauseAdapter, pauseAdapter),
    SWITCH(Perforator, perforator),
    SWITCH(RibbonSaver, ribbonSaver),
    SWITCH(TubeApplicator, tubeApplicator),
    SWITCH(WrappingApplicator, wrappingApplicator),
    PARAMETER(Cutter, cutter, offset1),
    PARAMETER(Cutter, cutter, offset2),
    PARAMETER(PeelOff, peelOff, offset),
    PARAMETER(Applicator, applicator, offset),
    PARAMETER(Applicator, applicator, startDelayPrint),
    PARAMETER(Applicator, applicator, lockTime),
    PARAMETER(Applicator, applicator, blowTime),
    PARAMETER(Applicator, applicator, startDelaySupportingAir),
    PARAMETER(Applicator, applicator, stopDelaySupportingAir),
    PARAMETER(Perforator, perforator, offset1),
    PARAMETER(Perforator, perforator, offset2),
    PARAMETER(Perforator, perforator, perforatorDeepness),
    PARAMETER(IoModule, ioModule, offset),
    PARAMETER(TubeApplicator, tubeApplicator, offset),
    PARAMETER(WrappingApplicator, wrappingApplicator, offset),
    PARAMETER(WrappingApplicator, wrappingApplicator, wrapPos),
    PARAMETER(BarcodeVerifierWithPeel, barcodeVerifierWithPeel, offset),
    PARAMETER(BeltApplicator, beltApplicator, offset),
    PARAMETER(BeltApplicator, beltApplicator, startDelayPrint),
    PARAMETER(BeltApplicator, beltApplicator, labelPosition),
    PARAMETER(BeltApplicator, beltApplicator, applyRunning),
};
// clang-format on

}  // namespace

std::optional<std::int32_t> NumberOf(std::string_view text, std::int32_t min, std::int32_t max) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  if (number < min || number > max) return {};
  return number;
}

const RecordField& FieldNamed(std::string_view name) {
  return *std::ranges::find(RecordFields(), name, &RecordField::name);
}

std::vector<LabelMode> LabelModes(const Config& config) {
  const Device& device = config.device;
  std::vector<LabelMode> modes;
  const auto add = [&](pappl_label_mode_t mode, std::string_view field, const auto& family) {
    if (!family.options.empty()) modes.push_back({mode, field});
  };
  add(PAPPL_LABEL_MODE_TEAR_OFF, "TearOff.enabled", device.tearOff);
  add(PAPPL_LABEL_MODE_CUTTER, "Cutter.enabled", device.cutter);
  add(PAPPL_LABEL_MODE_PEEL_OFF, "PeelOff.enabled", device.peelOff);
  add(PAPPL_LABEL_MODE_REWIND, "Rewinder.enabled", device.rewinder);
  add(PAPPL_LABEL_MODE_APPLICATOR, "Applicator.enabled", device.applicator);
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

std::vector<VendorField> VendorFields(const Config& config) {
  std::vector<VendorField> fields;
  for (const OwnField& own : kOwnFields) {
    const RecordField& field = FieldNamed(own.name);
    const auto [min, max] = own.limits(config, field);
    if (min < max) fields.push_back({field, min, max});
  }
  return fields;
}

std::string OptionName(const RecordField& field) {
  std::string name = field.name;
  std::ranges::replace(name, '.', '-');
  return name;
}

}  // namespace orv::printer_app
