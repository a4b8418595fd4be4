#include "tools/printer_app/driver.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "config/config_loader.h"
#include "devmode/record_fields.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/oemdev.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/text/utf8.h"
#include "platform/error_text.h"
#include "platform/letter_case.h"
#include "tools/orv/common/config_folders.h"
#include "tools/printer_app/fields.h"
#include "tools/printer_app/guard.h"
#include "tools/printer_app/job.h"
#include "tools/printer_app/web.h"
#include "xml/names.h"

namespace orv::printer_app {
namespace {

constexpr std::string_view kFilePrefix = "orv_conf_";
constexpr char kMainRoll[] = "main-roll";
constexpr char kLabelType[] = "labels";
// The names of sizes that are not stock items.
constexpr char kUsualSize[] = "label";
constexpr char kSmallestSize[] = "min";
constexpr char kLargestSize[] = "max";

/// Common label sizes.
constexpr const char* kLabelSizes[] = {
    "oe_2x1-label_2x1in",         "oe_3x2-label_3x2in",       "oe_4x2-label_4x2in",
    "oe_4x3-label_4x3in",         "na_index-4x6_4x6in",       "oe_4x8-label_4x8in",
    "om_50x30-label_50x30mm",     "om_100x50-label_100x50mm", "om_100x70-label_100x70mm",
    "om_100x150-label_100x150mm", "iso_a7_74x105mm",          "iso_a6_105x148mm",
};

/// The name of the driver that a configuration file is.
std::string NameOf(const std::filesystem::path& file) {
  return file.stem().string().substr(kFilePrefix.size());
}

/// The name of a medium: letters, digits and hyphens, because IPP allows nothing else in it.
std::string Keyword(const std::wstring& name) {
  std::string keyword;
  for (const wchar_t letter : name) {
    const wchar_t lower = ToLowerAscii(letter);
    if ((lower >= L'a' && lower <= L'z') || (lower >= L'0' && lower <= L'9')) {
      keyword += static_cast<char>(lower);
    } else if (!keyword.empty() && keyword.back() != '-') {
      keyword += '-';
    }
  }
  keyword.resize(std::min<std::size_t>(keyword.size(), 24));
  if (keyword.ends_with('-')) keyword.pop_back();
  return keyword;
}

/// A medium of labels; its lengths are thousandths of a millimetre.
pappl_media_col_t MediaOf(const std::string& source, const std::string& name, std::int64_t width,
                          std::int64_t length, std::int64_t sensor) {
  pappl_media_col_t media = {};
  media.size_width = Hundredths(width);
  media.size_length = Hundredths(length);
  pwgFormatSizeName(media.size_name, sizeof media.size_name, "custom", name.c_str(),
                    media.size_width, media.size_length, "mm");
  papplCopyString(media.source, source.c_str(), sizeof media.source);
  papplCopyString(media.type, kLabelType, sizeof media.type);
  media.tracking = TrackingOf(static_cast<std::int32_t>(sensor));
  return media;
}

/// Whether a medium, in thousandths of a millimetre, is within a printer's limits.
bool Fits(const Label& label, std::int64_t width, std::int64_t length) {
  return width >= label.widthMin && width <= label.widthMax && length >= label.heightMin &&
         length <= label.heightMax;
}

/// Whether a configuration describes a printer, and not only a family, such as a driver's own file.
bool IsPrinter(const Device& device) {
  return device.label.widthMax > 0 && device.generalSettings.resolutionDpiX > 0 &&
         device.generalSettings.resolutionDpiY > 0;
}

/// Writes a configuration and stock items to the driver data of a printer. What an administrator
/// may have changed stays if the configuration still allows it.
class DataWriter {
 public:
  DataWriter(Queue* queue, pappl_pr_driver_data_t* data)
      : config_(*queue->loaded.config), device_(config_.device), queue_(queue), data_(data) {}

  /// Returns the vendor options with the defaults of `old`; null for new data, which gets the
  /// defaults of the configuration. Media that are set stay only with the same configuration.
  ipp_t* Write(ipp_t* old, bool isSameConfig) {
    isNew_ = old == nullptr;
    data_->x_resolution[0] = data_->x_default = device_.generalSettings.resolutionDpiX;
    data_->y_resolution[0] = data_->y_default = device_.generalSettings.resolutionDpiY;
    WriteColours();
    WriteMedia(isSameConfig);
    WriteSettings();
    return VendorAttributes(old);
  }

 private:
  /// Sets a default that is new or outside its range.
  void SetDefault(int* value, const int (&range)[2], int byDefault) const {
    if (isNew_ || *value < range[0] || *value > range[1]) *value = byDefault;
  }

  ipp_t* VendorAttributes(ipp_t* old) {
    ipp_t* attributes = ippNew();
    data_->num_vendor = 0;
    // Adds the name of an option and returns the default that is set, or null.
    const auto addName = [&](const std::string& name) {
      data_->vendor[data_->num_vendor++] = Keep(name);
      return ippFindAttribute(old, (name + "-default").c_str(), IPP_TAG_ZERO);
    };
    const auto addNumber = [&](const std::string& name, int min, int max, int byDefault) {
      if (ipp_attribute_t* set = addName(name)) byDefault = ippGetInteger(set, 0);
      ippAddRange(attributes, IPP_TAG_PRINTER, (name + "-supported").c_str(), min, max);
      ippAddInteger(attributes, IPP_TAG_PRINTER, IPP_TAG_INTEGER, (name + "-default").c_str(),
                    std::clamp(byDefault, min, max));
    };
    const auto addText = [&](const std::string& name, const char* byDefault) {
      if (ipp_attribute_t* set = addName(name)) byDefault = ippGetString(set, 0, nullptr);
      ippAddString(attributes, IPP_TAG_PRINTER, IPP_TAG_TEXT, (name + "-default").c_str(), nullptr,
                   byDefault);
    };
    // PAPPL leaves these out, but IPP Everywhere requires them.
    ippAddBoolean(attributes, IPP_TAG_PRINTER, "preferred-attributes-supported", false);
    for (const auto& [name, value] : {std::pair{"print-rendering-intent-default", "auto"},
                                      {"print-rendering-intent-supported", "auto"},
                                      {"pwg-raster-document-sheet-back", "normal"}}) {
      ippAddString(attributes, IPP_TAG_PRINTER, IPP_CONST_TAG(IPP_TAG_KEYWORD), name, nullptr,
                   value);
    }
    if (device_.characteristics.color) {
      addText(kColourOption, kUsualColour);
      addNumber(kToleranceOption, 0, kMaxTolerance, kUsualTolerance);
    }
    addText(kFieldsOption, "");
    for (const auto& [field, min, max] : VendorFields(config_)) {
      if (data_->num_vendor == PAPPL_MAX_VENDOR) break;
      addNumber(OptionName(field), min, max, field.byDefault.In(config_));
    }
    return attributes;
  }

  const char* Keep(const std::string& name) { return queue_->names.insert(name).first->c_str(); }

  void WriteColours() {
    const bool isTwoColour = device_.characteristics.color;
    data_->color_supported = PAPPL_COLOR_MODE_AUTO | PAPPL_COLOR_MODE_MONOCHROME;
    data_->raster_types = PAPPL_PWG_RASTER_TYPE_SGRAY_8 | PAPPL_PWG_RASTER_TYPE_BLACK_8;
    if (isTwoColour) {
      data_->color_supported |= PAPPL_COLOR_MODE_COLOR;
      data_->raster_types |= PAPPL_PWG_RASTER_TYPE_SRGB_8;
    }
    data_->ppm_color = isTwoColour ? 1 : 0;
    // PAPPL refuses the data if the configuration no longer offers the mode.
    if ((data_->color_default & data_->color_supported) == 0) {
      data_->color_default =
          isNew_ && !isTwoColour ? PAPPL_COLOR_MODE_MONOCHROME : PAPPL_COLOR_MODE_AUTO;
    }
  }

  void AddMedium(const char* size) {
    if (data_->num_media < PAPPL_MAX_MEDIA) data_->media[data_->num_media++] = Keep(size);
  }

  void AddSource(const pappl_media_col_t& media) {
    if (data_->num_source == PAPPL_MAX_SOURCE) return;
    data_->media_ready[data_->num_source] = media;
    data_->source[data_->num_source++] = Keep(media.source);
  }

  void WriteMedia(bool isSameConfig) {
    const Label& label = device_.label;
    data_->num_media = data_->num_source = 0;
    data_->tracking_supported = 0;
    for (const std::int32_t sensor : AllowedValues(config_, AllowedList::kSensorTypes)) {
      data_->tracking_supported |= TrackingOf(sensor);
    }
    const auto mediumOf = [&](const char* name, std::int64_t width, std::int64_t length) {
      return MediaOf(kMainRoll, name, width, length, device_.sensorTypes.defaultType);
    };
    const pappl_media_col_t usual = mediumOf(kUsualSize, label.widthDefault, label.heightDefault);
    AddMedium(usual.size_name);
    AddSource(isSameConfig ? data_->media_ready[0] : usual);
    for (const char* size : kLabelSizes) {
      const pwg_media_t* medium = pwgMediaForPWG(size);
      if (medium != nullptr && Fits(label, medium->width * kThousandthsPerHundredth,
                                    medium->length * kThousandthsPerHundredth)) {
        AddMedium(size);
      }
    }
    for (const StockMedium& item : queue_->stock.media) {
      AddMedium(item.media.size_name);
      AddSource(item.media);
    }
    AddMedium(mediumOf(kSmallestSize, label.widthMin, label.heightMin).size_name);
    AddMedium(mediumOf(kLargestSize, label.widthMax, label.heightMax).size_name);
    // The default of the main roll is the administrator's, that of a stock item the item's.
    const std::span ready(data_->media_ready, static_cast<std::size_t>(data_->num_source));
    const auto source = std::ranges::find_if(ready, [&](const pappl_media_col_t& media) {
      return std::string_view(media.source) == data_->media_default.source;
    });
    if (!isSameConfig || source == ready.end()) {
      data_->media_default = ready.front();
    } else if (source != ready.begin()) {
      data_->media_default = *source;
    }
    data_->left_offset_supported[1] = Hundredths(label.widthMax);
    data_->top_offset_supported[1] = Hundredths(label.heightMax);
  }

  void WriteSettings() {
    const std::vector<std::int32_t>& speeds = device_.printSpeeds.speeds;
    const auto [least, most] = speeds.empty() ? std::ranges::minmax_result<std::int32_t>{0, 0}
                                              : std::ranges::minmax(speeds);
    data_->speed_supported[0] = least / 1000 * kSpeedUnits;
    data_->speed_supported[1] = most / 1000 * kSpeedUnits;
    SetDefault(&data_->speed_default, data_->speed_supported,
               speeds.empty() ? 0 : device_.printSpeeds.defaultSpeed / 1000 * kSpeedUnits);
    data_->darkness_supported = static_cast<int>(device_.darkness.values.size());
    const int darkness = DarknessPercent(config_, device_.darkness.defaultValue);
    if (isNew_) data_->darkness_configured = darkness;
    tagOEMDEV defaults{};
    FillDefaults(config_, &defaults);
    pappl_label_mode_t usualMode = 0;
    data_->mode_supported = 0;
    data_->finishings = PAPPL_FINISHINGS_NONE;
    for (const auto& [mode, field] : LabelModes(config_)) {
      data_->mode_supported |= mode;
      if (FieldBits(defaults, FieldNamed(field)) != 0) usualMode = mode;
      if (mode == PAPPL_LABEL_MODE_CUTTER) data_->finishings = PAPPL_FINISHINGS_TRIM;
    }
    if ((data_->mode_configured & data_->mode_supported) == 0) data_->mode_configured = usualMode;
    const auto& tearOffs = device_.tearOff.options;
    const TearOff tearOff = tearOffs.empty() ? TearOff{} : tearOffs.front();
    data_->tear_offset_supported[0] = Hundredths(tearOff.offsetMin);
    data_->tear_offset_supported[1] = Hundredths(tearOff.offsetMax);
    SetDefault(&data_->tear_offset_configured, data_->tear_offset_supported,
               Hundredths(tearOff.offsetDefault));
  }

  const Config& config_;
  const Device& device_;
  Queue* queue_;
  pappl_pr_driver_data_t* data_;
  bool isNew_ = false;
};

/// Reads the stock items of a printer.
Stock ReadStock(const char* printerName, const Label& label) {
  // The items can be the session's, whose data one thread at a time may use.
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  const RegistrySnapshot snapshot;  // checks only once for changes by other processes
  const std::wstring name = FromUtf8(printerName);
  const OwnedPrinterHandle printer(OpenPrinterHandle(name.c_str()));
  LONG error = printer == nullptr ? static_cast<LONG>(GetLastError()) : ERROR_SUCCESS;
  Stock stock;
  stock.list = LoadStockItems(printer.get(), name.c_str(), nullptr);
  if (stock.list.failure) {
    error = stock.list.failure->error;
  } else if (error == ERROR_SUCCESS && stock.list.openError) {
    error = static_cast<LONG>(*stock.list.openError);
  }
  if (error == ERROR_INVALID_PRINTER_NAME) return stock;  // the settings store has refused it
  if (error != ERROR_SUCCESS) {
    stock.problem = "the stock items cannot be read: " + ToUtf8(DescribeError(error));
    stock.list.items = {};  // common items alone would have wrong numbers
    return stock;
  }
  std::set<std::string> used = {kMainRoll, kUsualSize, kSmallestSize, kLargestSize};
  int paperSize = kFirstStockPaperSize;
  for (const StockItem& item : stock.list.items) {
    const int number = paperSize++;
    if (item.Disabled != 0 || !Fits(label, item.PaperWidth, item.PaperLength)) continue;
    std::string base = Keyword(item.DisplayName);
    if (base.empty()) base = "stock-" + std::to_string(number);
    std::string keyword = base;
    for (int suffix = number; !used.insert(keyword).second; ++suffix) {
      keyword = base + "-" + std::to_string(suffix);
    }
    stock.media.push_back(
        {MediaOf(keyword, keyword, item.PaperWidth, item.PaperLength, item.SensorType), number});
  }
  return stock;
}

/// Adds a printer to the user's settings store, or gives it its driver.
LONG AddToStore(const std::wstring& name, const std::wstring& driver) {
  const LONG added = AddSpoolerPrinter(name, driver, PrinterOwner::kUser);
  if (added != ERROR_PRINTER_ALREADY_EXISTS) return added;
  const OwnedPrinterHandle handle(OpenPrinterHandle(name.c_str()));
  PrinterFacts facts;
  const bool isKnown = GetPrinterFacts(handle.get(), &facts);
  if (!isKnown || facts.driverName == driver || facts.owner != PrinterOwner::kUser) return added;
  const LONG removed = RemoveSpoolerPrinter(name);
  return removed == ERROR_SUCCESS ? AddSpoolerPrinter(name, driver, PrinterOwner::kUser) : removed;
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

constexpr char kUnusable[] = "The settings cannot be used";

}  // namespace

Driver::Driver(std::filesystem::path file) : path(std::move(file)) {
  const std::shared_ptr<const Config> config = Load().config;
  if (config == nullptr) return;
  const Device& device = config->device;
  modelName = ToUtf8(device.model.modelName);
  deviceId = ToUtf8(device.model.deviceId);
  // The library finds the file by the driver's name, which is usually the model's.
  spoolerName = ConfigFileName(device.model.modelName) == FromPath(path.filename())
                    ? device.model.modelName
                    : FromUtf8(NameOf(path));
}

LoadedConfig Driver::Load() {
  const std::lock_guard lock(mutex);
  const FileVersion now = VersionOf(path);
  if (loaded.config == nullptr || version != now) {
    version = now;
    LoadResult result = LoadConfigFile(FromPath(path), nullptr, nullptr);
    loaded.problem = ToUtf8(LoadFailureText(result));
    if (result.owned != nullptr && !IsPrinter(result.owned->device)) {
      loaded.problem = "not a printer: it has no resolution or no maximum label width";
    } else if (result.owned != nullptr) {
      loaded.config = std::move(result.owned);
    }
    if (!loaded.problem.empty()) loaded.problem = path.string() + ": " + loaded.problem;
  }
  return loaded;
}

Drivers FindDrivers(std::vector<std::string>* problems) {
  Drivers drivers;
  const std::vector<std::wstring> folders = tool::ConfigFolders({});
  for (const std::wstring& folder : folders) {
    std::error_code error;
    for (std::filesystem::directory_iterator file(ToPath(folder), error), end;
         !error && file != end; file.increment(error)) {
      const std::filesystem::path& path = file->path();
      const std::string name = path.filename().string();
      if (!name.starts_with(kFilePrefix) || !name.ends_with(".xml")) continue;
      const auto [driver, isNew] = drivers.try_emplace(NameOf(path), path);
      if (!isNew) continue;
      const LoadedConfig loaded = driver->second.Load();
      if (loaded.config != nullptr) continue;
      problems->push_back(loaded.problem);
      drivers.erase(driver);
    }
    if (error && error != std::errc::no_such_file_or_directory) {
      problems->push_back("cannot read " + ToUtf8(folder) + ": " + error.message());
    }
  }
  if (drivers.empty()) {
    problems->push_back("no printer's configuration file in " + ToUtf8(tool::AnyOf(folders)));
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
  return Guarded(system, papplLog, "The driver cannot be used", [&] {
    auto& known = *static_cast<Drivers*>(drivers);
    const auto found = known.find(name);
    if (found == known.end()) return false;
    const auto queue = std::make_shared<Queue>(&found->second);
    queue->loaded = found->second.Load();
    *data = {};
    data->extension = queue.get();
    SetJobCallbacks(data);
    data->delete_cb = DeleteQueue;
    data->identify_cb = Identify;
    data->status_cb = UpdatePrinter;
    papplCopyString(data->make_and_model, queue->driver->modelName.c_str(),
                    sizeof data->make_and_model);
    data->kind = PAPPL_KIND_LABEL;
    data->orient_default = IPP_ORIENT_PORTRAIT;
    data->quality_default = IPP_QUALITY_NORMAL;
    data->scaling_default = PAPPL_SCALING_FIT;
    data->content_default = PAPPL_CONTENT_AUTO;
    data->sides_supported = data->sides_default = PAPPL_SIDES_ONE_SIDED;
    data->identify_default = data->identify_supported = PAPPL_IDENTIFY_ACTIONS_DISPLAY;
    data->has_supplies = true;
    data->borderless = true;
    data->ppm = 1;
    data->num_resolution = 1;
    data->num_type = 1;
    data->type[0] = kLabelType;
    *attributes = DataWriter(queue.get(), data).Write(nullptr, false);
    const std::lock_guard lock(queuesMutex);
    queues.push_back(queue);
    return true;
  });
}

void SetUpPrinter(pappl_printer_t* printer, void*) {
  Guarded(printer, papplLogPrinter, kUnusable, [&] {
    const std::shared_ptr<Queue> queue = QueueOf(printer);
    const char* name = papplPrinterGetName(printer);
    const std::wstring wideName = FromUtf8(name);
    if (FindQueue([&](const auto& other) {
          return EqualIgnoringCase(FromUtf8(other->printer), wideName);
        }) != nullptr) {
      papplLogPrinter(printer, PAPPL_LOGLEVEL_WARN,
                      "The printer shares its stock items with the one whose name differs only by "
                      "letter case.");
    } else if (const LONG added = AddToStore(wideName, queue->driver->spoolerName);
               added != ERROR_SUCCESS && added != ERROR_PRINTER_ALREADY_EXISTS) {
      papplLogPrinter(printer, PAPPL_LOGLEVEL_WARN,
                      "The printer has no stock items of its own: the settings store refuses it.");
    }
    // The printers do not report how much ribbon is left.
    pappl_supply_t ribbons[2] = {
        {PAPPL_SUPPLY_COLOR_BLACK, "black ribbon", true, -1, PAPPL_SUPPLY_TYPE_INK_RIBBON},
        {PAPPL_SUPPLY_COLOR_NO_COLOR, "second ribbon", true, -1, PAPPL_SUPPLY_TYPE_INK_RIBBON}};
    const bool isTwoColour = queue->driver->Load().config->device.characteristics.color;
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
  return Guarded(printer, papplLogPrinter, kUnusable, [&] {
    const std::shared_ptr<Queue> queue = QueueOf(printer);
    const LoadedConfig loaded = queue->driver->Load();
    Stock stock = ReadStock(papplPrinterGetName(printer), loaded.config->device.label);
    const std::lock_guard lock(queue->mutex);
    if (!stock.problem.empty()) stock.media = queue->stock.media;
    const bool isSameConfig = loaded.config == queue->loaded.config;
    const bool isSame = isSameConfig && stock.media == queue->stock.media;
    const std::string& problem = loaded.problem;
    if (problem != queue->loaded.problem) {
      papplPrinterSetReasons(printer, problem.empty() ? PAPPL_PREASON_NONE : PAPPL_PREASON_OTHER,
                             PAPPL_PREASON_OTHER);
      if (!problem.empty()) {
        papplLogPrinter(printer, PAPPL_LOGLEVEL_ERROR, "%s; the last settings stay in use.",
                        problem.c_str());
      }
    }
    queue->loaded = loaded;
    queue->stock = std::move(stock);
    if (isSame) return true;
    // PAPPL cannot exchange the data in one step, so what an administrator sets is read last.
    pappl_pr_driver_data_t data;
    papplPrinterGetDriverData(printer, &data);
    ipp_t* set = papplPrinterGetDriverAttributes(printer);
    ipp_t* attributes = DataWriter(queue.get(), &data).Write(set, isSameConfig);
    const bool isTaken = papplPrinterSetDriverData(printer, &data, attributes);
    ippDelete(attributes);
    ippDelete(set);
    if (!isTaken) throw std::runtime_error("PAPPL refuses them; its log line has the reason");
    return true;
  });
}

}  // namespace orv::printer_app
