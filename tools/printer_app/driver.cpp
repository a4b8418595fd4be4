#include "tools/printer_app/driver.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <system_error>
#include <utility>

#include "config/config_loader.h"
#include "devmode/record_fields.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/oemdev.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/text/utf8.h"
#include "platform/files.h"
#include "tools/orv/common/config_folders.h"
#include "tools/printer_app/fields.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/job.h"
#include "tools/printer_app/record.h"
#include "tools/printer_app/web.h"

namespace orv::printer_app {
namespace {

constexpr std::string_view kFilePrefix = "orv_conf_";
constexpr char kMainRoll[] = "main-roll";
constexpr char kLabelType[] = "labels";

/// Common label sizes.
constexpr const char* kLabelSizes[] = {
    "oe_2x1-label_2x1in",         "oe_3x2-label_3x2in",       "oe_4x2-label_4x2in",
    "oe_4x3-label_4x3in",         "na_index-4x6_4x6in",       "oe_4x8-label_4x8in",
    "om_50x30-label_50x30mm",     "om_100x50-label_100x50mm", "om_100x70-label_100x70mm",
    "om_100x150-label_100x150mm", "iso_a7_74x105mm",          "iso_a6_105x148mm",
};

template <std::size_t kSize>
void Copy(char (&target)[kSize], std::string_view text) {
  papplCopyString(target, std::string(text).c_str(), kSize);
}

/// The name of a medium: letters, digits and hyphens, because IPP allows nothing else in it.
std::string Keyword(std::wstring_view name) {
  std::string keyword;
  for (const char letter : ToUtf8(std::wstring(name))) {
    const auto lower = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
    const bool isPlain = (lower >= 'a' && lower <= 'z') || (lower >= '0' && lower <= '9');
    if (isPlain) {
      keyword += lower;
    } else if (!keyword.empty() && keyword.back() != '-') {
      keyword += '-';
    }
  }
  while (!keyword.empty() && keyword.back() == '-') keyword.pop_back();
  return keyword.substr(0, 24);
}

/// The self-describing name of a size, from thousandths of a millimetre.
std::string SizeName(const std::string& name, std::int64_t width, std::int64_t length) {
  std::array<char, 64> text;
  pwgFormatSizeName(text.data(), text.size(), "custom", name.c_str(),
                    static_cast<int>(width / kThousandthsPerHundredth),
                    static_cast<int>(length / kThousandthsPerHundredth), "mm");
  return text.data();
}

/// Whether a medium, in thousandths of a millimetre, is within a printer's limits.
bool Fits(const Label& label, std::int64_t width, std::int64_t length) {
  return width >= label.widthMin && width <= label.widthMax && length >= label.heightMin &&
         length <= label.heightMax;
}

/// Fills the driver data of a printer.
class DataWriter {
 public:
  DataWriter(const Config& config, Queue* queue, pappl_pr_driver_data_t* data)
      : device_(config.device), config_(config), queue_(queue), data_(data) {}

  void Write() {
    data_->extension = queue_;
    Copy(data_->make_and_model, queue_->driver->model_name());
    data_->kind = PAPPL_KIND_LABEL;
    data_->format = nullptr;
    data_->orient_default = IPP_ORIENT_PORTRAIT;
    data_->quality_default = IPP_QUALITY_NORMAL;
    data_->scaling_default = PAPPL_SCALING_FIT;
    data_->content_default = PAPPL_CONTENT_AUTO;
    data_->sides_supported = data_->sides_default = PAPPL_SIDES_ONE_SIDED;
    data_->identify_default = data_->identify_supported = PAPPL_IDENTIFY_ACTIONS_DISPLAY;
    data_->has_supplies = true;
    WriteColours();
    WriteResolution();
    WriteMedia();
    WriteSettings();
  }

 private:
  const char* Keep(const std::string& name) { return queue_->names.insert(name).first->c_str(); }

  void WriteColours() {
    data_->color_supported = PAPPL_COLOR_MODE_AUTO | PAPPL_COLOR_MODE_MONOCHROME;
    data_->raster_types = PAPPL_PWG_RASTER_TYPE_SGRAY_8 | PAPPL_PWG_RASTER_TYPE_BLACK_8;
    data_->color_default = PAPPL_COLOR_MODE_MONOCHROME;
    data_->ppm = 1;
    if (!device_.characteristics.color) return;
    data_->color_supported |= PAPPL_COLOR_MODE_COLOR;
    data_->raster_types |= PAPPL_PWG_RASTER_TYPE_SRGB_8;
    data_->color_default = PAPPL_COLOR_MODE_AUTO;
    data_->ppm_color = 1;
  }

  void WriteResolution() {
    data_->num_resolution = 1;
    data_->x_resolution[0] = data_->x_default = device_.generalSettings.resolutionDpiX;
    data_->y_resolution[0] = data_->y_default = device_.generalSettings.resolutionDpiY;
  }

  void AddMedium(const std::string& size) {
    if (data_->num_media < PAPPL_MAX_MEDIA) data_->media[data_->num_media++] = Keep(size);
  }

  void AddSource(const std::string& source, const std::string& size, std::int64_t width,
                 std::int64_t length, pappl_media_tracking_t tracking) {
    if (data_->num_source == PAPPL_MAX_SOURCE) return;
    pappl_media_col_t& ready = data_->media_ready[data_->num_source];
    ready = {};
    ready.size_width = static_cast<int>(width / kThousandthsPerHundredth);
    ready.size_length = static_cast<int>(length / kThousandthsPerHundredth);
    Copy(ready.size_name, size);
    Copy(ready.source, source);
    Copy(ready.type, kLabelType);
    ready.tracking = tracking;
    data_->source[data_->num_source++] = Keep(source);
  }

  void WriteMedia() {
    const Label& label = device_.label;
    data_->borderless = true;
    data_->num_type = 1;
    data_->type[0] = kLabelType;
    const std::vector<std::int32_t> sensors = AllowedValues(config_, AllowedList::kSensorTypes);
    for (const std::int32_t sensor : sensors) data_->tracking_supported |= TrackingOf(sensor);
    const pappl_media_tracking_t tracking = TrackingOf(device_.sensorTypes.defaultType);
    const std::string usual = SizeName("label", label.widthDefault, label.heightDefault);
    AddMedium(usual);
    for (const char* size : kLabelSizes) {
      const pwg_media_t* medium = pwgMediaForPWG(size);
      if (medium != nullptr && Fits(label, std::int64_t{medium->width} * kThousandthsPerHundredth,
                                    std::int64_t{medium->length} * kThousandthsPerHundredth)) {
        AddMedium(size);
      }
    }
    AddSource(kMainRoll, usual, label.widthDefault, label.heightDefault, tracking);
    for (const StockMedia& stock : queue_->stock) {
      AddMedium(stock.size);
      AddSource(stock.name, stock.size, stock.item.PaperWidth, stock.item.PaperLength,
                TrackingOf(static_cast<std::int32_t>(stock.item.SensorType)));
    }
    AddMedium(SizeName("min", label.widthMin, label.heightMin));
    AddMedium(SizeName("max", label.widthMax, label.heightMax));
    data_->media_default = data_->media_ready[0];
    data_->left_offset_supported[1] = label.widthMax / kThousandthsPerHundredth;
    data_->top_offset_supported[1] = label.heightMax / kThousandthsPerHundredth;
  }

  void WriteSettings() {
    const std::vector<std::int32_t>& speeds = device_.printSpeeds.speeds;
    if (!speeds.empty()) {
      const auto [least, most] = std::ranges::minmax(speeds);
      data_->speed_supported[0] = least / 1000 * kSpeedUnits;
      data_->speed_supported[1] = most / 1000 * kSpeedUnits;
      data_->speed_default = device_.printSpeeds.defaultSpeed / 1000 * kSpeedUnits;
    }
    data_->darkness_supported = static_cast<int>(device_.darkness.values.size());
    data_->darkness_configured = DarknessPercent(config_, device_.darkness.defaultValue);
    tagOEMDEV defaults{};
    FillDefaults(config_, &defaults);
    for (const LabelMode& mode : LabelModes()) {
      if (!mode.isFitted(config_)) continue;
      data_->mode_supported |= mode.mode;
      if (FieldBits(defaults, *FieldNamed(mode.field)) != 0) data_->mode_configured = mode.mode;
    }
    if ((data_->mode_supported & PAPPL_LABEL_MODE_CUTTER) != 0) {
      data_->finishings = PAPPL_FINISHINGS_TRIM;
    }
    if (const auto& tearOffs = device_.tearOff.options; !tearOffs.empty()) {
      data_->tear_offset_supported[0] = tearOffs.front().offsetMin / kThousandthsPerHundredth;
      data_->tear_offset_supported[1] = tearOffs.front().offsetMax / kThousandthsPerHundredth;
      data_->tear_offset_configured = tearOffs.front().offsetDefault / kThousandthsPerHundredth;
    }
  }

  const Device& device_;
  const Config& config_;
  Queue* queue_;
  pappl_pr_driver_data_t* data_;
};

void AddName(pappl_pr_driver_data_t* data, const char* name) {
  if (data->num_vendor < PAPPL_MAX_VENDOR) data->vendor[data->num_vendor++] = name;
}

/// The vendor options with their ranges and defaults. Values that an administrator has set are
/// taken over from `old`, unless that is null.
ipp_t* VendorAttributes(const Config& config, ipp_t* old, Queue* queue,
                        pappl_pr_driver_data_t* data) {
  ipp_t* attributes = ippNew();
  constexpr std::size_t kOwnOptions = 3;
  const auto oldValue = [&](const std::string& name) {
    return old != nullptr ? ippFindAttribute(old, name.c_str(), IPP_TAG_ZERO) : nullptr;
  };
  const auto addNumber = [&](const std::string& name, int min, int max, int byDefault) {
    const std::string defaultName = name + "-default";
    if (ipp_attribute_t* set = oldValue(defaultName)) byDefault = ippGetInteger(set, 0);
    ippAddRange(attributes, IPP_TAG_PRINTER, (name + "-supported").c_str(), min, max);
    ippAddInteger(attributes, IPP_TAG_PRINTER, IPP_TAG_INTEGER, defaultName.c_str(),
                  std::clamp(byDefault, min, max));
    AddName(data, queue->names.insert(name).first->c_str());
  };
  const auto addText = [&](const char* name, const char* byDefault) {
    const std::string defaultName = std::string(name) + "-default";
    ipp_attribute_t* set = oldValue(defaultName);
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_TEXT, defaultName.c_str(), nullptr,
                 set != nullptr ? ippGetString(set, 0, nullptr) : byDefault);
    AddName(data, name);
  };
  // PAPPL leaves these out, but IPP Everywhere requires them.
  ippAddBoolean(attributes, IPP_TAG_PRINTER, "preferred-attributes-supported", false);
  for (const char* name : {"print-rendering-intent-default", "print-rendering-intent-supported"}) {
    ippAddString(attributes, IPP_TAG_PRINTER, IPP_CONST_TAG(IPP_TAG_KEYWORD), name, nullptr,
                 "auto");
  }
  ippAddString(attributes, IPP_TAG_PRINTER, IPP_CONST_TAG(IPP_TAG_KEYWORD),
               "pwg-raster-document-sheet-back", nullptr, "normal");
  data->num_vendor = 0;
  if (config.device.characteristics.color) {
    addText(kColourOption, kUsualColour);
    addNumber(kToleranceOption, 0, kMaxTolerance, kUsualTolerance);
  }
  addText(kFieldsOption, "");
  for (const VendorField& vendor : VendorFields(config, PAPPL_MAX_VENDOR - kOwnOptions)) {
    addNumber(OptionName(*vendor.field), vendor.min, vendor.max, vendor.byDefault);
  }
  return attributes;
}

/// The stock items that fit the printer, as media; nothing if they cannot be read.
std::optional<std::vector<StockMedia>> FindStock(const char* printerName, const Config& config) {
  const std::wstring name = FromUtf8(printerName);
  const OwnedPrinterHandle printer(OpenPrinterHandle(name.c_str()));
  std::vector<StockMedia> stock;
  if (printer == nullptr && GetLastError() == ERROR_INVALID_PRINTER_NAME) return stock;
  if (printer == nullptr) return {};
  const StockList list = LoadStockItems(printer.get(), name.c_str(), nullptr);
  if (list.failure || list.openError) return {};
  std::map<std::string, int> used;
  int paperSize = kFirstStockPaperSize;
  for (const StockItem& item : list.items) {
    const int number = paperSize++;
    const bool fits = Fits(config.device.label, item.PaperWidth, item.PaperLength);
    if (item.Disabled != 0 || !fits) continue;
    std::string keyword = Keyword(item.DisplayName);
    if (keyword.empty()) keyword = "stock-" + std::to_string(number);
    if (used[keyword]++ > 0) keyword += "-" + std::to_string(number);
    stock.push_back({keyword, SizeName(keyword, item.PaperWidth, item.PaperLength), item, number});
  }
  return stock;
}

/// Adds a printer to the user's settings store, or gives it its driver.
LONG AddToStore(const std::wstring& name, const std::wstring& driver) {
  const LONG added = AddSpoolerPrinter(name, driver, PrinterOwner::kUser);
  if (added != ERROR_PRINTER_ALREADY_EXISTS) return added;
  const OwnedPrinterHandle handle(OpenPrinterHandle(name.c_str()));
  PrinterFacts facts;
  if (handle == nullptr || !GetPrinterFacts(handle.get(), &facts) || facts.driverName == driver ||
      facts.owner != PrinterOwner::kUser) {
    return added;
  }
  const LONG removed = RemoveSpoolerPrinter(name);
  return removed == ERROR_SUCCESS ? AddSpoolerPrinter(name, driver, PrinterOwner::kUser) : removed;
}

bool IsSameStock(const std::vector<StockMedia>& one, const std::vector<StockMedia>& other) {
  return std::ranges::equal(one, other, [](const StockMedia& a, const StockMedia& b) {
    return a.size == b.size && a.paperSize == b.paperSize &&
           std::ranges::all_of(StockValues(), [&](const StockValue& value) {
             return a.item.*value.field == b.item.*value.field;
           });
  });
}

/// Keeps what an administrator may have changed; the media only with the same configuration.
void KeepSettings(const pappl_pr_driver_data_t& old, bool isSameConfig,
                  pappl_pr_driver_data_t* data) {
  const auto isWithin = [](int value, const int(&range)[2]) {
    return value >= range[0] && value <= range[1];
  };
  data->darkness_configured = old.darkness_configured;
  data->darkness_default = old.darkness_default;
  data->color_default = old.color_default & data->color_supported;
  data->content_default = old.content_default;
  data->orient_default = old.orient_default;
  data->quality_default = old.quality_default;
  data->scaling_default = old.scaling_default;
  if (isWithin(old.speed_default, data->speed_supported)) data->speed_default = old.speed_default;
  if (isWithin(old.tear_offset_configured, data->tear_offset_supported)) {
    data->tear_offset_configured = old.tear_offset_configured;
  }
  if ((old.mode_configured & data->mode_supported) != 0) {
    data->mode_configured = old.mode_configured;
  }
  if (!isSameConfig) return;
  data->media_ready[0] = old.media_ready[0];  // the main roll
  // The default of the main roll is the administrator's, that of a stock item the item's.
  const std::span ready(data->media_ready, static_cast<std::size_t>(data->num_source));
  const auto source = std::ranges::find_if(ready, [&](const pappl_media_col_t& media) {
    return std::string_view(media.source) == old.media_default.source;
  });
  data->media_default = source == ready.begin() ? old.media_default
                        : source == ready.end() ? ready.front()
                                                : *source;
}

/// The queues of all printers. Requests for web pages find them here: PAPPL may delete a printer
/// while such a request uses it.
std::mutex queuesMutex;
std::vector<std::shared_ptr<Queue>> queues;

template <typename Condition>
std::shared_ptr<Queue> FindQueue(const Condition& isIt) {
  const std::lock_guard lock(queuesMutex);
  const auto found = std::ranges::find_if(queues, isIt);
  return found != queues.end() ? *found : nullptr;
}

// PAPPL holds the system's lock here and also comes here at the end of the server. So this calls no
// function of PAPPL, and the printer of the settings store stays.
void DeleteQueue(pappl_printer_t*, pappl_pr_driver_data_t* data) {
  const std::lock_guard lock(queuesMutex);
  std::erase_if(queues, [data](const auto& queue) { return queue.get() == data->extension; });
}

void Identify(pappl_printer_t* printer, pappl_identify_actions_t, const char* message) {
  papplLogPrinter(printer, PAPPL_LOGLEVEL_INFO, "Identify: %s",
                  message != nullptr ? message : papplPrinterGetName(printer));
}

/// Runs the body of a callback.
template <typename Body>
bool GuardedPrinter(pappl_printer_t* printer, const Body& body) {
  return Guarded(body, [printer](const char* reason) {
    papplLogPrinter(printer, PAPPL_LOGLEVEL_ERROR, "The settings cannot be used: %s", reason);
  });
}

void SetCallbacks(pappl_pr_driver_data_t* data) {
  SetJobCallbacks(data);
  data->delete_cb = DeleteQueue;
  data->identify_cb = Identify;
  data->status_cb = UpdatePrinter;
}

}  // namespace

Driver::Driver(std::filesystem::path path) : path_(std::move(path)) {
  name_ = path_.stem().string().substr(kFilePrefix.size());
  spoolerName_ = FromUtf8(name_);
  const std::shared_ptr<const Config> config = Load();
  if (config == nullptr) return;
  const Device& device = config->device;
  modelName_ = ToUtf8(device.model.modelName);
  deviceId_ = ToUtf8(device.model.deviceId);
  isUsable_ = device.label.widthMax > 0 && device.generalSettings.resolutionDpiX > 0 &&
              device.generalSettings.resolutionDpiY > 0;
  // The library finds the file by the driver's name, which is usually the model's.
  if (ConfigFileName(device.model.modelName) == FileNameOf(FromPath(path_))) {
    spoolerName_ = device.model.modelName;
  }
}

std::shared_ptr<const Config> Driver::Load(std::string* problem) {
  const std::lock_guard lock(mutex_);
  const FileVersion version = VersionOf(path_);
  if (config_ == nullptr || version != version_) {
    version_ = version;
    LoadResult loaded = LoadConfigFile(FromPath(path_), nullptr, nullptr);
    if (loaded.owned != nullptr) config_ = std::move(loaded.owned);
    problem_ = ToUtf8(LoadFailureText(loaded));
    if (!problem_.empty()) problem_ = path_.string() + ": " + problem_;
  }
  if (problem != nullptr) *problem = problem_;
  return config_;
}

std::vector<std::unique_ptr<Driver>> FindDrivers(std::vector<std::string>* problems) {
  std::vector<std::unique_ptr<Driver>> drivers;
  for (const std::wstring& folder : tool::ConfigFolders({})) {
    std::vector<std::filesystem::path> paths;
    std::error_code error;
    for (std::filesystem::directory_iterator file(ToPath(folder), error), end;
         !error && file != end; file.increment(error)) {
      const std::string name = file->path().filename().string();
      if (name.starts_with(kFilePrefix) && name.ends_with(".xml")) paths.push_back(file->path());
    }
    std::ranges::sort(paths);
    for (const std::filesystem::path& path : paths) {
      auto driver = std::make_unique<Driver>(path);
      std::string problem;
      driver->Load(&problem);
      if (problem.empty() && !driver->IsUsable()) problem = path.string() + ": not a printer";
      if (!driver->IsUsable()) {
        problems->push_back(problem);
        continue;
      }
      const bool isHidden = std::ranges::any_of(
          drivers, [&](const auto& earlier) { return earlier->name() == driver->name(); });
      if (!isHidden) drivers.push_back(std::move(driver));
    }
  }
  return drivers;
}

std::shared_ptr<Queue> QueueOf(pappl_printer_t* printer) {
  pappl_pr_driver_data_t data;
  papplPrinterGetDriverData(printer, &data);
  auto found = FindQueue([&](const auto& queue) { return queue.get() == data.extension; });
  if (found == nullptr) throw std::runtime_error("the printer is being deleted");
  return found;
}

std::shared_ptr<Queue> QueueOfPage(std::string_view path, std::string_view suffix) {
  if (path.ends_with(suffix)) path.remove_suffix(suffix.size());
  return FindQueue([path](const auto& queue) { return queue->webPage == path; });
}

bool DescribeDriver(pappl_system_t* system, const char* name, const char*, const char*,
                    pappl_pr_driver_data_t* data, ipp_t** attributes, void* drivers) {
  const auto describe = [&] {
    auto& known = *static_cast<std::vector<std::unique_ptr<Driver>>*>(drivers);
    const auto found =
        std::ranges::find_if(known, [&](const auto& driver) { return driver->name() == name; });
    if (found == known.end()) return false;
    const auto queue = std::make_shared<Queue>(found->get());
    queue->config = (*found)->Load(&queue->problem);
    SetCallbacks(data);
    DataWriter(*queue->config, queue.get(), data).Write();
    *attributes = VendorAttributes(*queue->config, nullptr, queue.get(), data);
    const std::lock_guard lock(queuesMutex);
    queues.push_back(queue);
    return true;
  };
  return Guarded(describe, [system](const char* reason) {
    papplLog(system, PAPPL_LOGLEVEL_ERROR, "The driver cannot be used: %s", reason);
  });
}

void SetUpPrinter(pappl_printer_t* printer, void*) {
  GuardedPrinter(printer, [&] {
    const std::shared_ptr<Queue> queue = QueueOf(printer);
    Driver& driver = *queue->driver;
    const char* name = papplPrinterGetName(printer);
    const LONG added = AddToStore(FromUtf8(name), driver.spooler_name());
    if (added != ERROR_SUCCESS && added != ERROR_PRINTER_ALREADY_EXISTS) {
      papplLogPrinter(printer, PAPPL_LOGLEVEL_WARN,
                      "The printer has no stock items of its own: the settings store refuses it.");
    }
    // The printers do not report how much ribbon is left.
    pappl_supply_t ribbons[2] = {
        {PAPPL_SUPPLY_COLOR_BLACK, "black ribbon", true, -1, PAPPL_SUPPLY_TYPE_INK_RIBBON},
        {PAPPL_SUPPLY_COLOR_NO_COLOR, "second ribbon", true, -1, PAPPL_SUPPLY_TYPE_INK_RIBBON}};
    const bool isTwoColour = driver.Load()->device.characteristics.color;
    papplPrinterSetSupplies(printer, isTwoColour ? 2 : 1, ribbons);
    const std::string page = AddWebPages(printer);
    {
      const std::lock_guard lock(queuesMutex);
      queue->printer = name;
      queue->webPage = page;
    }
    return UpdatePrinter(printer);
  });
}

bool UpdatePrinter(pappl_printer_t* printer) {
  return GuardedPrinter(printer, [&] {
    const std::shared_ptr<Queue> queue = QueueOf(printer);
    std::string problem;
    const std::shared_ptr<const Config> config = queue->driver->Load(&problem);
    auto stock = FindStock(papplPrinterGetName(printer), *config);
    const std::lock_guard lock(queue->mutex);
    if (!stock) stock = queue->stock;
    if (problem != queue->problem) {
      queue->problem = problem;
      papplPrinterSetReasons(printer, problem.empty() ? PAPPL_PREASON_NONE : PAPPL_PREASON_OTHER,
                             problem.empty() ? PAPPL_PREASON_OTHER : PAPPL_PREASON_NONE);
      if (!problem.empty()) {
        papplLogPrinter(printer, PAPPL_LOGLEVEL_ERROR, "%s; the last settings stay in use.",
                        problem.c_str());
      }
    }
    if (config == queue->config && IsSameStock(*stock, queue->stock)) return true;
    const bool isSameConfig = config == queue->config;
    queue->config = config;
    queue->stock = *std::move(stock);
    pappl_pr_driver_data_t data = {};
    SetCallbacks(&data);
    DataWriter(*config, queue.get(), &data).Write();
    // PAPPL cannot exchange the data in one step, so what an administrator sets is read last.
    ipp_t* set = papplPrinterGetDriverAttributes(printer);
    ipp_t* attributes = VendorAttributes(*config, set, queue.get(), &data);
    pappl_pr_driver_data_t old;
    KeepSettings(*papplPrinterGetDriverData(printer, &old), isSameConfig, &data);
    papplPrinterSetDriverData(printer, &data, attributes);
    ippDelete(attributes);
    ippDelete(set);
    return true;
  });
}

}  // namespace orv::printer_app
