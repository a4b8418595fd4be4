#include "platform/error_text.h"

#include <algorithm>
#include <iterator>

#include "orv/platform/types.h"
#include "orv/text/format.h"

namespace orv {
namespace {

struct ErrorText {
  long code;
  const wchar_t* text;
};
constexpr ErrorText kErrorTexts[] = {
    {ERROR_FILE_NOT_FOUND, L"not found"},
    {ERROR_PATH_NOT_FOUND, L"the folder does not exist"},
    {ERROR_ACCESS_DENIED, L"access is denied"},
    {ERROR_INVALID_HANDLE, L"the handle is not valid"},
    {ERROR_NOT_ENOUGH_MEMORY, L"not enough memory"},
    {ERROR_SHARING_VIOLATION, L"in use by another process"},
    {ERROR_NOT_SUPPORTED, L"not supported on this system"},
    {ERROR_INVALID_PARAMETER, L"the name is not valid"},
    {ERROR_DISK_FULL, L"the disk is full"},
    {ERROR_BUSY, L"in use by another process"},
    {ERROR_BADDB, L"the settings store is damaged"},
    {ERROR_REGISTRY_IO_FAILED, L"the settings store cannot be read or written"},
    {ERROR_KEY_DELETED, L"the key has been deleted"},
    {19, L"the disk is write-protected"},
    {21, L"the drive is not ready"},
    {53, L"the network path was not found"},
    {67, L"the network name was not found"},
    {80, L"the name is in use or reserved"},
    {123, L"the name is not valid"},
    {206, L"the name or path is too long"},
    {1722, L"the print spooler is not running"},
    {1797, L"the printer driver is unknown"},
    {ERROR_INVALID_PRINTER_NAME, L"no such printer"},
    {ERROR_PRINTER_ALREADY_EXISTS, L"the printer already exists"},
};

}  // namespace

std::wstring DescribeError(long code) {
  const auto* const known = std::ranges::find(kErrorTexts, code, &ErrorText::code);
  if (known == std::end(kErrorTexts)) return Format(L"system error %ld", code);
  return Format(L"%ls (system error %ld)", known->text, code);
}

}  // namespace orv
