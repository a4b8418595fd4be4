#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/log/file.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/report/html.h"

/// The sections of a report. A section without data shows a sentence that says why.

namespace orv::tool {

struct ReportModel {
  std::wstring path;               ///< of the configuration file
  const Config* config = nullptr;  ///< null when it does not load
  std::wstring problem;            ///< why
};

struct ReportRecord {
  std::wstring path;               ///< of the record; empty for the printer's defaults
  std::optional<tagOEMDEV> given;  ///< no value for the defaults
  std::optional<Merged> merged;    ///< no value when there is no merge
  std::wstring problem;            ///< why

  /// One line: the source of the values, and the number of corrections.
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

struct ReportPage {
  std::wstring path;
  std::wstring how;  ///< how the planes were made
  std::wstring dpi;  ///< the resolution and its source
  std::wstring fit;  ///< the sizes of the page and the label; empty without a label
  bool fits = true;
  std::vector<ReportPicture> pictures;
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
/// label of a merged record.
ReportPage MakePage(ReportPageOptions* options, const Config* model,
                    const std::optional<Merged>& record);

struct ReportLog {
  std::wstring path;
  bool isThere = false;
  std::vector<LogEntry> entries;

  /// One line: the number of entries and of errors and warnings.
  std::wstring Summary() const;
};

/// The style sheet of a report: light or dark as the browser prefers, for wide and narrow screens
/// and for print. Contains nothing that HTML would parse.
extern const char kReportStyle[];

void WriteModelSection(const ReportModel& model, HtmlWriter* html);
void WriteRecordSection(const ReportRecord& record, HtmlWriter* html);
/// `selected` is the GUID of the record's item.
void WriteStockSection(const std::vector<StockItem>& items, const GUID& selected, HtmlWriter* html);
void WritePageSection(const ReportPage& page, HtmlWriter* html);
void WriteLogSection(const ReportLog& log, HtmlWriter* html);

}  // namespace orv::tool
