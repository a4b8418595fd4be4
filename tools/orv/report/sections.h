#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/record.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/summary.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/report/html.h"

/// The sections of a report. A section without data shows a sentence that says why.

namespace orv::tool {

/// Something wrong with the printer or the label.
struct ReportFault {
  Severity severity;
  std::wstring what;
  std::wstring advice;   ///< what to do
  std::wstring section;  ///< the link to the section that shows it, such as "#page"
};

/// A finding of the checker in the configuration file.
struct ReportFinding {
  const CheckRule* rule;
  int line;
  std::wstring text;
  std::wstring proposal;
};

/// What keeps a configuration from loading, as far as it decides what to do.
enum class LoadFault {
  kNone,
  kMissing,
  kNotAFile,       ///< a folder or a device
  kUnreadable,     ///< the system does not let it be read
  kDamaged,        ///< no text can be made of it
  kNotWellFormed,  ///< not well-formed XML
  kContent,
  kNoMemory,
};

struct ReportModel {
  std::wstring path;               ///< of the configuration file
  const Config* config = nullptr;  ///< null when it does not load
  std::wstring problem;            ///< why
  LoadFault fault = LoadFault::kNone;
  std::vector<ReportFinding> findings;
  std::vector<ConfigValue> values;  ///< none when it does not load
};

struct ReportRecord {
  std::wstring path;               ///< of the record; empty for the printer's defaults
  std::optional<tagOEMDEV> given;  ///< no value for the defaults
  std::optional<Merged> merged;    ///< no value when there is no merge
  std::wstring problem;            ///< why

  /// One line: the source of the values, and the number of corrections that change a value.
  std::wstring Summary() const;
};

/// A picture of a page or plane.
struct ReportPicture {
  std::wstring name;  ///< such as "Black plane"
  std::string png;    ///< the bytes of the file
  int width;          ///< dots
  int height;
  double widthMm;
  std::wstring size;  ///< on paper
  double inkPercent;
};

/// One property of a page, compared with those of the printer and the label.
struct ReportComparison {
  std::wstring title;
  std::wstring page;
  std::wstring printer;
  std::wstring label;
  std::optional<ReportFault> fault;  ///< what does not fit
};

struct ReportPage {
  std::wstring path;
  std::wstring how;  ///< how the planes were made
  std::wstring dpi;  ///< the resolution and its source
  std::vector<ReportComparison> comparisons;
  std::vector<ReportPicture> pictures;  ///< the combined print first
};

/// The options for the planes of a page; without a colour there is only a black plane.
struct ReportPageOptions {
  PageOptions page;
  DitherOptions dither;
  std::string colour;
  double tolerance = 0.1;
};

/// Loads a page and makes the pictures of its planes, with the resolution of the printer's model if
/// it is known and --dpi is not given; ends the command on failure. A page is compared with the
/// model, and with the label of a merged record.
ReportPage MakePage(ReportPageOptions* options, const Config* model,
                    const std::optional<Merged>& record);

struct ReportLog {
  std::wstring path;
  bool isThere = false;
  std::wstring problem;  ///< why it cannot be read
  LogSummary summary;
  std::deque<LogEntry> last;   ///< the last entries
  std::uint64_t errors = 0;    ///< among those before them
  std::uint64_t warnings = 0;  ///< as `errors`

  void Add(const LogEntry& entry);
  /// One line: the number of entries and of errors and warnings.
  std::wstring Summary() const;
};

/// The content of a report. The library's cache owns the configuration.
struct ReportFacts {
  std::wstring printer;
  std::wstring driver;
  ReportModel model;
  ReportRecord record;
  std::vector<StockItem> stockItems;
  std::optional<ReportPage> page;
  ReportLog log;
};

/// Everything wrong with a printer and a label, the most important first.
std::vector<ReportFault> FaultsOf(const ReportFacts& facts);

/// The style sheet of a report: light or dark as the browser prefers, for wide and narrow screens
/// and for print. Contains nothing that HTML would parse.
extern const char kReportStyle[];

void WriteVerdict(const ReportFacts& facts, HtmlWriter* html);
void WritePageSection(const ReportPage& page, HtmlWriter* html);
void WriteRecordSection(const ReportRecord& record, HtmlWriter* html);
void WriteModelSection(const ReportModel& model, HtmlWriter* html);
/// `selected` is the GUID of the record's item.
void WriteStockSection(const std::vector<StockItem>& items, const GUID& selected, HtmlWriter* html);
void WriteLogSection(const ReportLog& log, HtmlWriter* html);

}  // namespace orv::tool
