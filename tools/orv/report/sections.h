#pragma once

#include <optional>
#include <string>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/stock_items.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/log/file.h"
#include "tools/orv/page/options.h"
#include "tools/orv/report/html.h"

/// What a report shows of a printer, section by section. What there is not leaves a sentence in its
/// place.

namespace orv::tool {

struct ReportModel {
  std::wstring path;               ///< of the configuration file
  const Config* config = nullptr;  ///< null when it does not load
  std::wstring problem;            ///< why
};

struct ReportRecord {
  std::wstring path;               ///< of the record; empty for the printer's defaults
  std::optional<tagOEMDEV> given;  ///< nothing for the defaults
  std::optional<Merged> merged;    ///< nothing when there is no merge
  std::wstring problem;            ///< why

  /// In one line: whose values they are, and how many were corrected.
  std::wstring Summary() const;
};

/// A picture of a page.
struct ReportPicture {
  std::wstring name;  ///< such as "Black plane"
  std::string png;    ///< the bytes of the file
  int width;          ///< dots
  int height;
  double widthMm;
  std::wstring size;  ///< its lengths on paper
  double inkPercent;
};

struct ReportPage {
  std::wstring path;
  std::wstring how;  ///< what made the planes
  std::vector<ReportPicture> pictures;
};

/// What makes planes of a page: without a second colour only a black one.
struct ReportPageOptions {
  PageOptions page;
  DitherOptions dither;
  std::string colour;
  double tolerance = 0.1;
};

/// Loads a page and makes the pictures of its planes; ends the command when it cannot.
ReportPage MakePage(ReportPageOptions* options);

struct ReportLog {
  std::wstring path;
  bool isThere = false;
  std::vector<LogEntry> entries;

  /// In one line: how many entries of which levels.
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
