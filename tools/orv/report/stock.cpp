
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

/// The values of an item that are not 0, without its size, which has its own columns.
std::wstring SettingsOf(const StockItem& item) {
  std::wstring text;
  for (const StockValue& value : StockValues()) {
    if (item.*value.field == 0 || value.field == &StockItem::PaperWidth ||
        value.field == &StockItem::PaperLength || value.field == &StockItem::Disabled) {
      continue;
    }
    text += (text.empty() ? L"" : L", ") + std::wstring(value.name) + L" " +
            std::to_wstring(static_cast<std::int32_t>(item.*value.field));
  }
  return text;
}

/// The items in the order of their paper sizes.
template <typename IsChosen>
void WriteItems(const std::vector<StockItem>& items, const IsChosen& isChosen, HtmlWriter* html) {
  HtmlTable table(html, L"In the order of their paper sizes",
                  {L"Name", L"Paper size", L"Width", L"Length", L"Settings that are not 0"});
  int paperSize = kFirstStockPaperSize;
  for (const StockItem& item : items) {
    std::wstring note = FormatGuid(item.guid);
    if (isChosen(item)) note += L"; selected by the record";
    if (item.Disabled != 0) note += L"; disabled";
    table.Row({{item.DisplayName, note},
               {std::to_wstring(paperSize++)},
               {StockLengthText(item.PaperWidth)},
               {StockLengthText(item.PaperLength)},
               {SettingsOf(item)}},
              isChosen(item) ? L"good" : L"");
  }
}

}  // namespace

void WriteStockSection(const std::vector<StockItem>& items, const GUID& selected,
                       HtmlWriter* html) {
  if (items.empty()) {
    html->Element("p", L"The printer has no stock items, and there are no common ones.");
    return;
  }
  const auto isChosen = [&](const StockItem& item) {
    return !IsZeroGuid(selected) && FormatGuid(item.guid) == FormatGuid(selected);
  };
  const auto chosen = std::ranges::find_if(items, isChosen);
  html->Element("p", chosen == items.end()
                         ? std::wstring(L"The record uses none of the printer's stock items.")
                         : Format(L"The record uses \"%ls\", which is the paper size %d.",
                                  chosen->DisplayName.c_str(),
                                  kFirstStockPaperSize + static_cast<int>(chosen - items.begin())));
  html->Begin("details");
  html->Element("summary", CountText(static_cast<std::int64_t>(items.size()), L"stock item"));
  WriteItems(items, isChosen, html);
  html->End();
}

}  // namespace orv::tool
