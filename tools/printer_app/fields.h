#pragma once

#include <pappl/pappl.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devmode/record_fields.h"
#include "orv/config/config.h"

/// The settings of a printer in the words of IPP, and the fields of the private record that they
/// become. Fields without a word in IPP are vendor options of the same name and range.

namespace orv::printer_app {

/// IPP counts lengths in hundredths of a millimetre.
inline constexpr std::int64_t kThousandthsPerHundredth = 10;
constexpr int Hundredths(std::int64_t thousandths) {
  return static_cast<int>(thousandths / kThousandthsPerHundredth);
}
/// IPP counts speeds in hundredths of a millimetre per second.
inline constexpr int kSpeedUnits = 100;

/// A whole text as a number; nothing if it is not one, or not within the limits.
std::optional<std::int32_t> NumberOf(std::string_view text, std::int32_t min = INT32_MIN,
                                     std::int32_t max = INT32_MAX);

/// The field of the record with this name, which must exist.
const RecordField& FieldNamed(std::string_view name);

/// A label mode of IPP and the field that turns its device on.
struct LabelMode {
  pappl_label_mode_t mode;
  std::string_view field;
};
/// The modes of the devices that a printer can have.
std::vector<LabelMode> LabelModes(const Config& config);

/// The media tracking of a sensor, 0 for a sensor without one.
pappl_media_tracking_t TrackingOf(std::int32_t sensor);
/// The first sensor of the printer with this tracking; nothing if it has none.
std::optional<std::int32_t> SensorOf(const Config& config, pappl_media_tracking_t tracking);

/// A level of darkness as a percentage of the printer's levels, and the opposite.
int DarknessPercent(const Config& config, std::int32_t level);
std::int32_t DarknessLevel(const Config& config, int percent);

/// A field that is a vendor option, and its range.
struct VendorField {
  const RecordField& field;
  std::int32_t min;
  std::int32_t max;
};
/// The vendor options of a printer, the most useful ones first.
std::vector<VendorField> VendorFields(const Config& config);
/// The name of a field's vendor option: a hyphen instead of the dot, which PAPPL refuses.
std::string OptionName(const RecordField& field);

}  // namespace orv::printer_app
