#pragma once

#include <concepts>
#include <cstdint>
#include <list>
#include <string>

#include "orv/config/config.h"
#include "orv/config/configs_cache.h"
#include "orv/logging/logger.h"
#include "orv/platform/export.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"

/// Loads printer configuration files:
///
///     const orv::ConfigsCacheReference cache;  // owns the records
///     Config* config = nullptr;
///     if (CConfigParser::Load(L"orv_conf_lx300.xml", &config, cache.get(), nullptr)) {
///       const int width = CConfigParser::GetMaxWidthInMicroMeter(config);
///     }
///
/// `orv::LoadConfigFile` (config_loader.h) also returns why a file does not load.
///
/// Functions that return a text return an error message, empty on success; the first message ends
/// the load. Any thread may load; the cache has its own lock. A null logger is allowed everywhere.
/// The only exception thrown is `std::bad_alloc`, which leaves no record anywhere.
class ORV_EXPORT CConfigParser {
 public:
  /// Loads the file at `path` into `*config`, which is null after a failure. With a cache the
  /// record belongs to the cache, and a cached path is not read again; without one the caller
  /// deletes the record. A digest that does not match is logged, and the file loads all the same.
  static bool Load(const std::wstring& path, Config** config, ConfigsCache* cache,
                   CLoggerClient* logger);

  /// Loads the file of a printer: the one named after its driver in the folder of the logger
  /// client's module.
  static bool Load(HANDLE printer, Config** config, ConfigsCache* cache, CLoggerClient* logger);

  /// Not callable: a path in a writable buffer would otherwise convert to a handle.
  template <std::same_as<wchar_t> Unit>
  static bool Load(Unit* path, Config** config, ConfigsCache* cache,
                   CLoggerClient* logger) = delete;

  /// The names that the spooler gives a printer, into a buffer of `bufferChars` characters: cut to
  /// fit, always terminated. False only for an invalid handle; a name that cannot be read is empty.
  static bool GetPrinterName(HANDLE printer, wchar_t* buffer, int bufferChars,
                             CLoggerClient* logger);
  static bool GetPrinterDriverName(HANDLE printer, wchar_t* buffer, int bufferChars,
                                   CLoggerClient* logger);

  /// The name, without folder, of the configuration file for a printer's driver.
  static bool GetConfigXmlFilenameForPrinter(HANDLE printer, wchar_t* buffer, int bufferChars,
                                             CLoggerClient* logger);

  /// Reads a whole document from its top level.
  static CString Parse(CMarkup& xml, Config& config, CLoggerClient* logger);

  /// Reads what follows the file information in a file of this version: nothing from version 13 on.
  static CString Parse(int version, CMarkup& xml, Config& config, CLoggerClient* logger);

  /// The readers of the sections. Each is called with the document inside the section's element.
  /// `ParseFileInfo` leaves its last argument alone.
  static CString ParseFileInfo(CMarkup& xml, FileInfo& info, CLoggerClient* logger,
                               Characteristics& characteristics);
  static CString ParseDevice(CMarkup& xml, Device& device, CLoggerClient* logger);
  static CString ParseDeviceModel(CMarkup& xml, Model& model, CLoggerClient* logger);
  static CString ParseDeviceLabel(CMarkup& xml, Label& label, CLoggerClient* logger);
  static CString ParseDeviceGeneralSettings(CMarkup& xml, GeneralSettings& settings,
                                            CLoggerClient* logger);
  static CString ParseDevicePrintModes(CMarkup& xml, PrintModes& modes, CLoggerClient* logger);
  static CString ParseDeviceGlobalOffsetY(CMarkup& xml, GlobalOffsetY& offset,
                                          CLoggerClient* logger);
  static CString ParseDeviceHeadsOffsetX(CMarkup& xml, HeadsOffsetX& offset, CLoggerClient* logger);
  static CString ParseDeviceDarkness(CMarkup& xml, Darkness& darkness, CLoggerClient* logger);
  static CString ParseDevicePrintSpeeds(CMarkup& xml, PrintSpeeds& speeds, CLoggerClient* logger);
  static CString ParseDeviceSensorTypes(CMarkup& xml, SensorTypes& sensors, CLoggerClient* logger);
  static CString ParseDeviceCharacteristics(CMarkup& xml, Characteristics& characteristics,
                                            CLoggerClient* logger);

  /// Reads every option family into its member of `device`, chosen by the family's identifier.
  static CString ParseDeviceOptionFamilies(CMarkup& markup, Device& device, CLoggerClient* client);

  /// Reads a family's properties; the document (a copy) is inside `properties`. The variables of
  /// missing properties keep their values.
  static CString ParseDeviceOptionFamilyProperties(CMarkup markup, int& optionFamilyId,
                                                   CString& optionFamilyType,
                                                   CString& optionFamilyName,
                                                   CString& optionFamilyImageFile,
                                                   CLoggerClient* client);
  static CString ParseDeviceOptionFamilyApplicatorOptions(CMarkup& markup,
                                                          OptionFamily<Applicator>& family,
                                                          CLoggerClient* client);
  static CString ParseDeviceOptionFamilyBarcodeVerifierOptions(
      CMarkup& markup, OptionFamily<BarcodeVerifier>& family, CLoggerClient* client);
  static CString ParseDeviceOptionFamilyBarcodeVerifierWithPeelOptions(
      CMarkup& markup, OptionFamily<BarcodeVerifierWithPeel>& family, CLoggerClient* client);
  static CString ParseDeviceOptionFamilyBeltApplicatorOptions(CMarkup& markup,
                                                              OptionFamily<BeltApplicator>& family,
                                                              CLoggerClient* client);
  static CString ParseDeviceOptionFamilyCutterOptions(CMarkup& markup, OptionFamily<Cutter>& family,
                                                      CLoggerClient* client);
  static CString ParseDeviceOptionFamilyDispensingModuleOptions(
      CMarkup& markup, OptionFamily<DispensingModule>& family, CLoggerClient* client);
  static CString ParseDeviceOptionFamilyIoModuleOptions(CMarkup& markup,
                                                        OptionFamily<IoModule>& family,
                                                        CLoggerClient* client);
  static CString ParseDeviceOptionFamilyPauseAdapterOptions(CMarkup& markup,
                                                            OptionFamily<PauseAdapter>& family,
                                                            CLoggerClient* client);
  static CString ParseDeviceOptionFamilyPeelOffOptions(CMarkup& markup,
                                                       OptionFamily<PeelOff>& family,
                                                       CLoggerClient* client);
  static CString ParseDeviceOptionFamilyPerforatorOptions(CMarkup& markup,
                                                          OptionFamily<Perforator>& family,
                                                          CLoggerClient* client);
  static CString ParseDeviceOptionFamilyRewinderOptions(CMarkup& markup,
                                                        OptionFamily<Rewinder>& family,
                                                        CLoggerClient* client);
  static CString ParseDeviceOptionFamilyRibbonSaverOptions(CMarkup& markup,
                                                           OptionFamily<RibbonSaver>& family,
                                                           CLoggerClient* client);
  static CString ParseDeviceOptionFamilyTearOffOptions(CMarkup& markup,
                                                       OptionFamily<TearOff>& family,
                                                       CLoggerClient* client);
  static CString ParseDeviceOptionFamilyTubeApplicatorOptions(CMarkup& markup,
                                                              OptionFamily<TubeApplicator>& family,
                                                              CLoggerClient* client);
  static CString ParseDeviceOptionFamilyWrappingApplicatorOptions(
      CMarkup& markup, OptionFamily<WrappingApplicator>& family, CLoggerClient* client);

  /// Expands a range into the list of its values, appended to `values` in ascending order, and
  /// checks that the step reaches the maximum exactly, that the default is one of at most 1000
  /// values, and that there is a value at all. After a failure the list keeps what was generated.
  static CString GenerateListValues(int min, int max, int step, int defaultValue,
                                    std::list<int>& values);

  /// The number at the start of a text, 0 without one; a number beyond 32 bits yields the nearest
  /// limit.
  static int ConvertToInt(const CString& text);

  /// 1 for "true" in any letter case, otherwise 0.
  static int ConvertToBool(const CString& text);

  /// Seconds since 1970-01-01 of a local time written "yyyy-mm-dd?hh:mm:ss"; 0 unless the text has
  /// 19 characters.
  static std::int64_t ConvertToDateTime(const CString& text);

  /// Single values of a loaded record, which must not be null.
  static bool isPrinterTwoColor(Config* const config);
  static bool isPrinterDoubleSided(Config* const config);

  /// The board's name, inside the record.
  static const wchar_t* GetPrinterBoardName(Config* const config);

  /// The widest label, in micrometres.
  static int GetMaxWidthInMicroMeter(Config* const config);
};

namespace orv {

/// The digest to store in a configuration file: the SHA-256 of a fixed salt and the text, with
/// every occurrence of `digest`, the value that the file states, replaced by "{{sha256}}". 64
/// lower-case hexadecimal digits; empty if it cannot be computed.
ORV_EXPORT CString ConfigDigest(const CString& text, const CString& digest);

}  // namespace orv
