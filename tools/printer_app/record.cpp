#include "tools/printer_app/record.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>

#include "devmode/explanation.h"
#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "devmode/record_fields.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/text/utf8.h"
#include "platform/error_text.h"
#include "tools/orv/devmode/record_text.h"
#include "tools/printer_app/driver.h"
#include "tools/printer_app/fields.h"

namespace orv::printer_app {
namespace {

using Options = pappl_pr_options_t;

/// The lengths of a medium and the fields that they become.
struct MediaLength {
  const char* field;
  int pappl_media_col_t::*length;
};
constexpr MediaLength kMediaLengths[] = {
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
  SetFieldBits(record, *FieldNamed(name), static_cast<std::uint32_t>(value));
}

/// Sets a length in hundredths of a millimetre. The merge corrects lengths that are too large.
void SetLength(tagOEMDEV* record, std::string_view name, int length) {
  constexpr int kMax = std::numeric_limits<std::int32_t>::max() / kThousandthsPerHundredth;
  SetNumber(record, name, std::clamp(length, -kMax, kMax) * kThousandthsPerHundredth);
}

/// Sets the fields for which IPP has words.
void SetOwnWords(const Options& options, const Config& config, tagOEMDEV* record) {
  for (const MediaLength& row : kMediaLengths) {
    SetLength(record, row.field, options.media.*row.length);
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

/// The vendor options of a job, or else the printer's defaults for them.
std::map<std::string, std::string> VendorValues(pappl_printer_t* printer,
                                                const pappl_pr_driver_data_t& data,
                                                const Options& options) {
  std::map<std::string, std::string> values;
  ipp_t* defaults = papplPrinterGetDriverAttributes(printer);
  for (const char* name : std::span(data.vendor, static_cast<std::size_t>(data.num_vendor))) {
    const std::string attribute = std::string(name) + "-default";
    ipp_attribute_t* byDefault = ippFindAttribute(defaults, attribute.c_str(), IPP_TAG_ZERO);
    std::array<char, 1024> text{};
    if (byDefault != nullptr) ippAttributeString(byDefault, text.data(), text.size());
    const char* value = cupsGetOption(name, options.num_vendor, options.vendor);
    values[name] = value != nullptr ? value : text.data();
  }
  ippDelete(defaults);
  return values;
}

/// A whole text as a number.
std::optional<std::int32_t> NumberOf(std::string_view text, int base = 10) {
  std::int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

/// Sets the fields of vendor options.
void SetVendorFields(const std::map<std::string, std::string>& vendor, JobRecord* job) {
  for (const auto& [name, value] : vendor) {
    const RecordField* field = FieldOfOption(name);
    if (field == nullptr) continue;
    const std::optional<std::int32_t> number = NumberOf(value);
    if (!number) {
      job->problems.push_back(name + ": not a number: " + value);
    } else if (*number != field->byDefault.In(*job->config)) {  // IPP's own words stay
      SetFieldBits(&job->record, *field, static_cast<std::uint32_t>(*number));
    }
  }
  const auto more = vendor.find(kFieldsOption);
  if (more == vendor.end()) return;
  const std::wstring assignments = FromUtf8(more->second);
  for (std::size_t start = 0; start < assignments.size();) {
    const std::size_t end = std::min(assignments.find(L';', start), assignments.size());
    const RecordField* field = nullptr;
    const std::wstring problem = tool::SetNamedField(
        std::wstring_view(assignments).substr(start, end - start), &job->record, &field);
    if (!problem.empty()) job->problems.push_back(ToUtf8(problem));
    start = end + 1;
  }
}

/// Sets the second print colour and what belongs to it.
void SetHighlight(std::map<std::string, std::string>& vendor, JobRecord* job) {
  std::string colour = vendor[kColourOption];
  if (colour.starts_with('#')) colour.erase(0, 1);
  std::optional<std::int32_t> rgb = colour.size() == 6 ? NumberOf(colour, 16) : std::nullopt;
  if (!rgb || *rgb < 0 || *rgb == 0xFFFFFF) {
    job->problems.push_back(std::string(kColourOption) + ": not a colour: " + colour);
    rgb = NumberOf(kUsualColour, 16);
  }
  job->colour = Color(0xFF000000 | static_cast<ARGB>(*rgb));
  const std::int32_t tolerance = NumberOf(vendor[kToleranceOption]).value_or(kUsualTolerance);
  job->tolerance = std::clamp(tolerance, 0, kMaxTolerance) / 1000.0;
}

/// The label mode of the printer, and a cutter that the job asks for.
void SetLabelModes(const Options& options, const pappl_pr_driver_data_t& data, const Config& config,
                   tagOEMDEV* record) {
  const bool mustCut = (options.finishings & PAPPL_FINISHINGS_TRIM) != 0;
  for (const LabelMode& mode : LabelModes()) {
    if (!mode.isFitted(config)) continue;
    const bool isUsed =
        mode.mode == data.mode_configured || (mustCut && mode.mode == PAPPL_LABEL_MODE_CUTTER);
    SetNumber(record, mode.field, isUsed ? 1 : 0);
  }
  if ((data.mode_supported & PAPPL_LABEL_MODE_TEAR_OFF) != 0) {
    SetLength(record, "TearOff.offset", data.tear_offset_configured);
  }
}

/// The stock item that a job's medium is; null for any other medium.
const StockMedia* StockOf(const std::vector<StockMedia>& stock, const pappl_media_col_t& media) {
  const auto isItem = [&](const StockMedia& item) {
    const int width = static_cast<int>(item.item.PaperWidth / kThousandthsPerHundredth);
    const int length = static_cast<int>(item.item.PaperLength / kThousandthsPerHundredth);
    return item.size == media.size_name ||
           (item.name == media.source && width == media.size_width && length == media.size_length);
  };
  const auto found = std::ranges::find_if(stock, isItem);
  return found != stock.end() ? &*found : nullptr;
}

/// The merge uses the session's data, which one thread at a time may do.
std::mutex mergeMutex;

void Merge(pappl_printer_t* printer, const DEVMODEW& in, JobRecord* job) {
  const std::lock_guard lock(mergeMutex);
  const std::wstring name = FromUtf8(papplPrinterGetName(printer));
  const OwnedPrinterHandle handle(OpenPrinterHandle(name.c_str()));
  LONG error = handle == nullptr ? static_cast<LONG>(GetLastError()) : ERROR_SUCCESS;
  MergeLog log(nullptr);
  const StockList items = FindStockItems(handle.get(), name.c_str(), &log);
  if (items.failure) {
    error = items.failure->error;
  } else if (error == ERROR_SUCCESS && items.openError) {
    error = static_cast<LONG>(*items.openError);
  }
  if (error != ERROR_SUCCESS && error != ERROR_INVALID_PRINTER_NAME) {
    job->problems.push_back("the stock items cannot be read: " + ToUtf8(DescribeError(error)));
  }
  DEVMODEW out = in;
  const StockChoice choice = MergeStockItem(items, in, &out, &job->record, &log);
  job->stockItem = ToUtf8(choice.item.DisplayName);
  Corrections changes;
  for (const Correction& correction : MakeValid(job->config.get(), &job->record, &log)) {
    if (!ChangesNothing(correction)) changes.Add(correction);
  }
  job->corrections = ToUtf8(DescribeCorrections({changes.begin(), changes.end()}));
  while (job->corrections.ends_with(' ')) job->corrections.pop_back();
}

}  // namespace

JobRecord MergeJob(pappl_printer_t* printer, const pappl_pr_options_t& options) {
  pappl_pr_driver_data_t data;
  papplPrinterGetDriverData(printer, &data);
  const std::shared_ptr<Queue> queue = QueueOf(printer);
  JobRecord job;
  int paperSize = 0;
  {
    const std::lock_guard lock(queue->mutex);
    job.config = queue->config;
    if (!queue->problem.empty()) {
      job.problems.push_back("printed with the last settings that loaded: " + queue->problem);
    }
    if (const StockMedia* stock = StockOf(queue->stock, options.media)) {
      paperSize = stock->paperSize;
    }
  }
  const Config& config = *job.config;
  FillDefaults(config, &job.record);
  SetOwnWords(options, config, &job.record);
  SetLabelModes(options, data, config, &job.record);
  std::map<std::string, std::string> vendor = VendorValues(printer, data, options);
  SetVendorFields(vendor, &job);
  DEVMODEW in = PublicRecordOf(job.record);
  in.dmCopies = static_cast<SHORT>(options.copies);
  if (paperSize != 0) in.dmPaperSize = static_cast<SHORT>(paperSize);
  Merge(printer, in, &job);
  job.isTwoColour = config.device.characteristics.color &&
                    options.print_color_mode != PAPPL_COLOR_MODE_MONOCHROME;
  if (job.isTwoColour) SetHighlight(vendor, &job);
  return job;
}

}  // namespace orv::printer_app
