#pragma once

#include <pappl/pappl.h>

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "platform/files.h"
#include "tools/orv/page/planes.h"
#include "tools/printer_app/raster.h"
#include "tools/printer_app/record.h"

/// Configuration files as drivers, and what the printer application keeps for each of its printers.

namespace orv::printer_app {

struct LoadedConfig {
  std::shared_ptr<const Config> config;  ///< the last one that loaded; null if none has
  std::string problem;                   ///< why the file does not load now; empty if it does
};

/// A configuration file.
struct Driver {
  explicit Driver(std::filesystem::path file);

  /// The configuration as the file has it now. Any thread may call.
  LoadedConfig Load();

  const std::filesystem::path path;
  // Of the configuration when the server started.
  std::string modelName;
  std::string deviceId;
  std::wstring spoolerName;  ///< in the settings store; the library derives the file name from it
  std::mutex mutex;          ///< guards everything below
  FileVersion version{};     ///< of the file when it was loaded
  LoadedConfig loaded;
};

/// Drivers by their names.
using Drivers = std::map<std::string, Driver>;

/// The drivers of all configuration files in the usual folders that load, and why others do not.
Drivers FindDrivers(std::vector<std::string>* problems);

/// A stock item as a medium.
struct StockMedium {
  pappl_media_col_t media;
  int paperSize;  ///< in the public record

  // The name of the size has the source and the lengths in it.
  bool operator==(const StockMedium& other) const {
    return paperSize == other.paperSize && media.tracking == other.media.tracking &&
           std::string_view(media.size_name) == other.media.size_name;
  }
};

/// A printer's stock items.
struct Stock {
  StockList list;
  std::vector<StockMedium> media;  ///< the items that fit the printer
  std::string problem;             ///< why the items cannot be read; empty if they can
};

/// A label as it was printed. Its bitmaps are used by one thread at a time.
struct PrintedLabel {
  std::shared_ptr<const JobRecord> job;
  unsigned number = 0;  ///< of the page in the job, from 1
  RasterPage page;
  tool::Planes planes;  ///< the highlight is null on printers of one colour
};

/// What belongs to a printer. Its driver data points to it until the printer is deleted.
struct Queue {
  explicit Queue(Driver* with) : driver(with) {}

  Driver* const driver;
  // Set once, before a request can find the queue.
  std::string printer;  ///< its name; empty until it is set up
  std::string webPage;  ///< the path of its page
  std::mutex mutex;     ///< guards everything below
  LoadedConfig loaded;
  Stock stock;
  std::shared_ptr<PrintedLabel> last;  ///< null until a label is printed
  RasterPage spare;             ///< of an earlier label: new memory costs more than dithering
  std::set<std::string> names;  ///< that the driver data points to; only grows
};

/// The queue of a printer. It stays valid after the printer is deleted, as long as the caller holds
/// it. Throws if the printer is being deleted.
std::shared_ptr<Queue> QueueOf(pappl_printer_t* printer);
/// The queue of the printer with the web page at this path, which may end with `suffix`; null if
/// no printer has it.
std::shared_ptr<Queue> QueueOfPage(std::string_view path, std::string_view suffix);

/// PAPPL's callbacks for drivers; `data` of the first one is the `Drivers`.
bool DescribeDriver(pappl_system_t* system, const char* name, const char* uri, const char* id,
                    pappl_pr_driver_data_t* data, ipp_t** attributes, void* drivers);
void SetUpPrinter(pappl_printer_t* printer, void* data);
/// Takes over changes of the configuration file and of the stock items.
bool UpdatePrinter(pappl_printer_t* printer);

}  // namespace orv::printer_app
