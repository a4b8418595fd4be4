#include "tools/orv/devmode/record_merge.h"

#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/files.h"
#include "tools/orv/common/config_folders.h"

namespace orv::tool {
namespace {

/// Why the library refuses a record.
std::wstring RefusalText(const tagOEMDEV* in, Conversion conversion) {
  switch (conversion) {
    case Conversion::kOtherSignature:
      return Format(L"a merge refuses the record: its signature is %u, not %u", in->dwSignature,
                    tagOEMDEV::kSignature);
    case Conversion::kUnknownVersion:
    case Conversion::kUnhandledVersion:
      return Format(L"a merge refuses the record: its version is %u, not %u", in->dwVersion,
                    tagOEMDEV::kVersion);
    default:
      return L"a merge refuses the record; `orv log show` says why";
  }
}

/// Why a request failed; empty if it did not.
std::wstring ProblemOf(const DevmodeResult& result, const tagOEMDEV* in, LibraryUse* library) {
  if (result.failure == DevmodeFailure::kNone) return {};
  if (result.failure != DevmodeFailure::kConfigNotLoaded) return RefusalText(in, result.conversion);
  const std::wstring file = L"the printer's configuration " + FileNameOf(result.load.path);
  if (FolderWith(FileNameOf(result.load.path), library->folders()).empty()) {
    return file + L" is not in " + AnyOf(library->folders()) +
           L" (--config-dir names another folder)";
  }
  return file + L" does not load from " + library->client()->m_stModuleFolder +
         L"; `orv config check` says why";
}

}  // namespace

const Config* DefaultRecord(LibraryUse* library, const OpenPrinter& printer,
                            const std::wstring& name, tagOEMDEV* record, std::wstring* problem) {
  library->FindConfigFile(printer.get());
  OEMDMPARAM param{};
  param.cbSize = sizeof(param);
  param.hPrinter = printer.get();
  param.pOEMDMOut = record;
  const DevmodeResult result = RunLoggedRequest(
      {printer.get(), name.c_str(), OEMDM_DEFAULT, &param, library->cache(), library->client()});
  *problem = ProblemOf(result, nullptr, library);
  return problem->empty() ? result.load.config : nullptr;
}

bool MergeRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                 Merged* merged, std::wstring* problem) {
  library->FindConfigFile(printer.get());
  merged->publicOut = merged->publicIn;
  *problem = ProblemOf(RunMerge(printer.get(), name, library->cache(), library->client(), merged),
                       &merged->in, library);
  if (merged->items.failure) FailToReadItems(*merged->items.failure);
  return problem->empty();
}

std::wstring UnknownPaperSize(const Merged& merged) {
  const int paperSize = merged.publicIn.dmPaperSize;
  if (paperSize < kFirstStockPaperSize || merged.choice->reason == StockChoice::kPaperSize)
    return {};
  return Format(L"the paper size %d is not known: no stock item has this number", paperSize);
}

std::wstring OtherStockItem(const Merged& merged) {
  if (!merged.remembered) return {};
  return Format(L"the paper size %d is the stock item \"%ls\", but the record remembers %ls (",
                merged.choice->paperSize, merged.choice->item.DisplayName.c_str(),
                RememberedText(*merged.remembered).c_str()) +
         FormatGuid(merged.in.StockItemGuid) + L"); the paper size decides";
}

}  // namespace orv::tool
