#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "tools/orv/common/lengths.h"
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

}  // namespace

void WriteStockSection(const std::vector<StockItem>& items, const GUID& selected,
                       HtmlWriter* html) {
  if (items.empty()) {
    html->Element("p", L"The printer has no stock items, and there are no common ones.");
    return;
  }
  HtmlTable table(html, L"In the order of their paper sizes",
                  {L"Name", L"Paper size", L"Width", L"Length", L"Settings that are not 0"});
  int paperSize = kFirstStockPaperSize;
  for (const StockItem& item : items) {
    std::wstring note = FormatGuid(item.guid);
    const bool isSelected = !IsZeroGuid(selected) && note == FormatGuid(selected);
    if (isSelected) note += L"; selected by the record";
    if (item.Disabled != 0) note += L"; disabled";
    table.Row({{item.DisplayName, note},
               {std::to_wstring(paperSize++)},
               {StockLengthText(item.PaperWidth)},
               {StockLengthText(item.PaperLength)},
               {SettingsOf(item)}},
              isSelected ? L"good" : L"");
  }
}

}  // namespace orv::tool
