// A caller without any code of the library: it loads the shared library at run time, looks up
// hrOEMDevMode by name and calls it in all four modes. Prints the results.
//   orv_library_caller LIBRARY PRINTER CONFIG_FOLDER

#include <cstdio>
#include <string>

#include "orv/devmode/oemdev.h"
#include "orv/logging/logger.h"
#include "tests/library_loader.h"

class ConfigsCache;

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  orv::test::JoinScratchSettings();
  void* const library = orv::test::LoadSharedLibrary(argv[1]);
  using Function = HRESULT(CLoggerClient*, ConfigsCache*, const wchar_t*, DWORD, OEMDMPARAM*);
  using Open = HANDLE(const wchar_t*);
  auto* const call = reinterpret_cast<Function*>(orv::test::FindSymbol(library, "hrOEMDevMode"));
  auto* const open =
      reinterpret_cast<Open*>(orv::test::FindSymbol(library, "_ZN3orv17OpenPrinterHandleEPKw"));
  if (call == nullptr || open == nullptr) return 3;

  // The arguments are ASCII.
  const auto widen = [](const std::string& text) { return std::wstring(text.begin(), text.end()); };
  const std::wstring printer = widen(argv[2]);
  CLoggerClient client;
  client.m_stModuleFolder = widen(argv[3]);
  tagOEMDEV defaults{};
  tagOEMDEV out{};
  DEVMODEW publicIn{};
  DEVMODEW publicOut{};
  OEMDMPARAM param{};
  param.hPrinter = open(printer.c_str());
  unsigned result = 0;
  const auto request = [&](DWORD mode) {
    result = static_cast<unsigned>(call(&client, nullptr, printer.c_str(), mode, &param));
  };

  request(OEMDM_SIZE);
  std::printf("size %x %u\n", result, static_cast<unsigned>(param.cbBufSize));
  param.pOEMDMOut = &defaults;
  request(OEMDM_DEFAULT);
  std::printf("default %x %u\n", result, defaults.PaperWidth);
  param.pOEMDMIn = &defaults;
  param.pOEMDMOut = &out;
  request(OEMDM_CONVERT);  // the output has no signature yet
  std::printf("convert %x\n", result);
  out.dwSignature = tagOEMDEV::kSignature;
  request(OEMDM_CONVERT);
  std::printf("convert %x %u\n", result, out.PaperWidth);
  publicIn.dmCopies = 1;
  publicIn.dmPaperWidth = 500;
  publicIn.dmPaperLength = 300;
  defaults.DitheringAlgorithm = 6;
  param.pPublicDMIn = &publicIn;
  param.pPublicDMOut = &publicOut;
  request(OEMDM_MERGE);
  std::printf("merge %x %u %u %u %x\n", result, out.PaperWidth, out.PaperHeight,
              out.DitheringAlgorithm, static_cast<unsigned>(publicOut.dmFields));
  return 0;
}
