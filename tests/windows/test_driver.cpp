/// The user-interface part of a printer driver, as little of it as the spooler needs to add a
/// printer: it answers with an empty public device mode.

#include <windows.h>

#include <winspool.h>

namespace {

/// What the spooler passes to `DrvDocumentPropertySheets`, as the driver interface lays it out.
struct DocumentPropertyHeader {
  WORD size;
  WORD reserved;
  HANDLE printer;
  wchar_t* printerName;
  DEVMODEW* input;
  DEVMODEW* output;
  DWORD outputSize;
  DWORD mode;
};

}  // namespace

extern "C" __declspec(dllexport) LONG WINAPI DrvDocumentPropertySheets(void*, LPARAM parameter) {
  auto* const header = reinterpret_cast<DocumentPropertyHeader*>(parameter);
  if (header->mode == 0 || header->output == nullptr) {
    header->outputSize = sizeof(DEVMODEW);
    return sizeof(DEVMODEW);
  }
  *header->output = DEVMODEW{};
  header->output->dmSize = sizeof(DEVMODEW);
  return 1;
}

extern "C" __declspec(dllexport) DWORD WINAPI
    DrvDeviceCapabilities(HANDLE, wchar_t*, WORD, void*, DEVMODEW*) {
  return static_cast<DWORD>(-1);
}
