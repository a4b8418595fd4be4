/// The user-interface part of a printer driver, reduced to what the spooler needs to add a printer:
/// it returns an empty public device mode.

#include <windows.h>

#include <winspool.h>

namespace {

/// The argument of `DrvDocumentPropertySheets`, in the layout of the driver interface.
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
