#include "tools/printer_app/record.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "devmode/explanation.h"
#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "devmode/record_fields.h"
#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "orv/text/utf8.h"
#include "tools/orv/common/input.h"
#include "tools/orv/devmode/record_text.h"
#include "tools/orv/page/options.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/fields.h"

namespace orv::printer_app {
namespace {

using Options = pappl_pr_options_t;

/// The fields that the lengths of a medium become.
constexpr std::pair<const char*, int pappl_media_col_t::*> kMediaLengths[] = {
    {"PaperWidth", &pappl_media_col_t::size_width},
    {"PaperHeight", &pappl_media_col_t::size_length},
    {"UnprintableLeft", &pappl_media_col_t::left_margin},
    {"UnprintableRight", &pappl_media_col_t::right_margin},
    {"UnprintableTop", &pappl_media_col_t::top_margin},
    {"UnprintableBottom", &pappl_media_col_t::bottom_margin},
    {"OffsetX", &pappl_media_col_t::left_offset},
    {"OffsetY", &pappl_media_col_t::top_offset},
};

void SetNumber(tagOEMDEV* record, std::string_view name, std::int32_t value) {
  SetFieldBits(record, FieldNamed(name), static_cast<std::uint32_t>(value));
}

/// Sets a length in hundredths of a millimetre. The merge corrects lengths that are too large.
void SetLength(tagOEMDEV* record, std::string_view name, int length) {
  constexpr int kMax = Hundredths(std::numeric_limits<std::int32_t>::max());
  SetNumber(record, name,
            static_cast<std::int32_t>(std::clamp(length, -kMax, kMax) * kThousandthsPerHundredth));
}

/// Sets the fields for which IPP has words.
void SetOwnWords(const Options& options, const Config& config, tagOEMDEV* record) {
  for (const auto& [field, length] : kMediaLengths) {
    SetLength(record, field, options.media.*length);
  }
  if (const auto sensor = SensorOf(config, options.media.tracking)) {
    record->SensorType = static_cast<std::uint32_t>(*sensor);
  }
  if (options.print_speed > 0) {
    record->PrintSpeed = static_cast<std::uint32_t>(options.print_speed / kSpeedUnits);
  }
  const int percent = options.darkness_configured + std::clamp(options.print_darkness, -100, 100);
  record->Darkness = DarknessLevel(config, percent);
}

using VendorValues = std::map<std::string, std::string>;

/// The vendor options of a job, or else the printer's defaults for them. PAPPL's own list of them
/// has texts that are cut and have backslashes before quotes and brackets.
VendorValues VendorValuesOf(pappl_job_t* job, const pappl_pr_driver_data_t& data) {
  VendorValues values;
  ipp_t* defaults = papplPrinterGetDriverAttributes(papplJobGetPrinter(job));
  for (const char* name : std::span(data.vendor, static_cast<std::size_t>(data.num_vendor))) {
    ipp_attribute_t* value = papplJobGetAttribute(job, name);
    if (value == nullptr) {
      value = ippFindAttribute(defaults, (std::string(name) + "-default").c_str(), IPP_TAG_ZERO);
    }
    std::array<char, 64> other{};  // a number, or a value that a field does not take
    ippAttributeString(value, other.data(), other.size());
    const char* text = ippGetString(value, 0, nullptr);
    values[name] = text != nullptr ? text : other.data();
  }
  ippDelete(defaults);
  return values;
}

/// The assignments of a text, between semicolons that are not in quotes.
std::vector<std::wstring> AssignmentsOf(const std::wstring& text) {
  std::vector<std::wstring> parts(1);
  bool isQuoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L';' && !isQuoted) {
      parts.emplace_back();
      continue;
    }
    if (text[i] == L'"') isQuoted = !isQuoted;
    if (text[i] == L'\\' && i + 1 < text.size()) parts.back() += text[i++];
    parts.back() += text[i];
  }
  if (parts.back().empty()) parts.pop_back();
  return parts;
}

/// Sets the fields of vendor options.
void SetVendorFields(VendorValues& values, const Config& config, JobRecord* job) {
  for (const VendorField& vendor : VendorFields(config)) {
    const auto value = values.find(OptionName(vendor.field));
    if (value == values.end()) continue;
    const std::optional<std::int32_t> number = NumberOf(value->second);
    if (!number) {
      job->problems.push_back(value->first + ": not a number: " + value->second);
    } else if (*number != vendor.field.byDefault.In(config)) {  // IPP's own words stay
      SetFieldBits(&job->record, vendor.field, static_cast<std::uint32_t>(*number));
    }
  }
  for (const std::wstring& assignment : AssignmentsOf(FromUtf8(values[kFieldsOption]))) {
    const RecordField* field = nullptr;
    const std::wstring problem = tool::SetNamedField(assignment, &job->record, &field);
    if (!problem.empty()) job->problems.push_back(ToUtf8(problem));
  }
}

/// Sets the second print colour and what belongs to it.
void SetHighlight(VendorValues& values, JobRecord* job) {
  std::string colour = values[kColourOption];
  if (!tool::IsColour()(colour).empty() || tool::ToColour(colour).GetValue() == 0xFFFFFFFF) {
    job->problems.push_back(std::string(kColourOption) + ": not a colour: " + colour);
    colour = kUsualColour;
  }
  job->colour = tool::ToColour(colour);
  std::optional<std::int32_t> tolerance = NumberOf(values[kToleranceOption], 0, kMaxTolerance);
  if (!tolerance) {
    job->problems.push_back(std::string(kToleranceOption) + ": not a number from 0 to " +
                            std::to_string(kMaxTolerance) + ": " + values[kToleranceOption]);
    tolerance = kUsualTolerance;
  }
  job->tolerance = *tolerance / 1000.0;
}

/// The label mode of the printer, and a cutter that the job asks for.
void SetLabelModes(const Options& options, const pappl_pr_driver_data_t& data, const Config& config,
                   tagOEMDEV* record) {
  const bool mustCut = (options.finishings & PAPPL_FINISHINGS_TRIM) != 0;
  for (const auto& [mode, field] : LabelModes(config)) {
    const bool isUsed =
        mode == data.mode_configured || (mustCut && mode == PAPPL_LABEL_MODE_CUTTER);
    SetNumber(record, field, isUsed ? 1 : 0);
  }
  if ((data.mode_supported & PAPPL_LABEL_MODE_TEAR_OFF) != 0) {
    SetLength(record, "TearOff.offset", data.tear_offset_configured);
  }
}

/// The paper size of the stock item that a job's medium is; 0 for any other medium.
int StockPaperSize(const std::vector<StockMedium>& stock, const pappl_media_col_t& media) {
  const auto found = std::ranges::find_if(stock, [&](const StockMedium& item) {
    return std::string_view(item.media.size_name) == media.size_name ||
           (std::string_view(item.media.source) == media.source &&
            item.media.size_width == media.size_width &&
            item.media.size_length == media.size_length);
  });
  return found != stock.end() ? found->paperSize : 0;
}

void Merge(const StockList& items, const Config& config, const DEVMODEW& in, JobRecord* job) {
  MergeLog log(nullptr);
  DEVMODEW out = in;
  job->stockItem = ToUtf8(MergeStockItem(items, in, &out, &job->record, &log).item.DisplayName);
  Corrections changes;
  for (const Correction& correction : MakeValid(&config, &job->record, &log)) {
    if (!ChangesNothing(correction)) changes.Add(correction);
  }
  job->corrections = ToUtf8(tool::Trim(DescribeCorrections(changes)));
}

}  // namespace

JobRecord MergeJob(pappl_job_t* job, const pappl_pr_options_t& options, Queue* queue) {
  pappl_pr_driver_data_t data;
  papplPrinterGetDriverData(papplJobGetPrinter(job), &data);
  std::unique_lock lock(queue->mutex);
  const LoadedConfig loaded = queue->loaded;
  const Stock stock = queue->stock;
  lock.unlock();
  const Config& config = *loaded.config;
  const char* name = papplJobGetName(job);
  JobRecord made;
  made.id = papplJobGetID(job);
  if (name != nullptr) made.name = name;
  made.copies = options.copies;
  if (!loaded.problem.empty()) {
    made.problems.push_back("printed with the last settings that loaded: " + loaded.problem);
  }
  FillDefaults(config, &made.record);
  SetOwnWords(options, config, &made.record);
  SetLabelModes(options, data, config, &made.record);
  VendorValues values = VendorValuesOf(job, data);
  SetVendorFields(values, config, &made);
  if (!stock.problem.empty()) made.problems.push_back(stock.problem);
  DEVMODEW in = PublicRecordOf(made.record);
  in.dmCopies = static_cast<SHORT>(options.copies);
  if (const int paperSize = StockPaperSize(stock.media, options.media)) {
    in.dmPaperSize = static_cast<SHORT>(paperSize);
  }
  Merge(stock.list, config, in, &made);
  made.isTwoColour = config.device.characteristics.color &&
                     options.print_color_mode != PAPPL_COLOR_MODE_MONOCHROME;
  if (made.isTwoColour) SetHighlight(values, &made);
  return made;
}

}  // namespace orv::printer_app
