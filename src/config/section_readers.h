#pragma once

#include "config/property_tables.h"
#include "orv/config/config.h"
#include "orv/logging/logger.h"
#include "orv/xml/markup.h"

/// The readers of a configuration file and its sections. A section's reader is called with the
/// document inside the section's element. Readers log unknown properties; those with a result
/// return an error message, empty on success.

/// Calls a macro with each kind of option that the public class can read by itself.
#define ORV_OPTION_KINDS(X)  \
  X(Applicator)              \
  X(BarcodeVerifier)         \
  X(BarcodeVerifierWithPeel) \
  X(BeltApplicator)          \
  X(Cutter)                  \
  X(DispensingModule)        \
  X(IoModule)                \
  X(PauseAdapter)            \
  X(PeelOff)                 \
  X(Perforator)              \
  X(Rewinder)                \
  X(RibbonSaver)             \
  X(TearOff)                 \
  X(TubeApplicator)          \
  X(WrappingApplicator)

namespace orv {

/// Reads a whole document from its top level.
CString ReadDocument(CMarkup& xml, Config& config, CLoggerClient* logger);
/// Reads what follows the file information in a file of this version.
CString ReadVersionedPart(std::int32_t version, CMarkup& xml, Config& config,
                          CLoggerClient* logger);

CString ReadFileInfo(CMarkup& xml, FileInfo& info, CLoggerClient* logger);
CString ReadDevice(CMarkup& xml, Device& device, CLoggerClient* logger);
CString ReadModel(CMarkup& xml, Model& model, CLoggerClient* logger);
CString ReadLabel(CMarkup& xml, Label& label, CLoggerClient* logger);
CString ReadGeneralSettings(CMarkup& xml, GeneralSettings& settings, CLoggerClient* logger);
CString ReadPrintModes(CMarkup& xml, PrintModes& modes, CLoggerClient* logger);
CString ReadGlobalOffsetY(CMarkup& xml, GlobalOffsetY& offset, CLoggerClient* logger);
CString ReadHeadsOffsetX(CMarkup& xml, HeadsOffsetX& offset, CLoggerClient* logger);
CString ReadDarkness(CMarkup& xml, Darkness& darkness, CLoggerClient* logger);
CString ReadPrintSpeeds(CMarkup& xml, PrintSpeeds& speeds, CLoggerClient* logger);
CString ReadSensorTypes(CMarkup& xml, SensorTypes& sensors, CLoggerClient* logger);
CString ReadCharacteristics(CMarkup& xml, Characteristics& characteristics, CLoggerClient* logger);

/// Reads every option family into its member of `device`, chosen by the family's identifier.
CString ReadOptionFamilies(CMarkup& xml, Device& device, CLoggerClient* logger);
/// Reads a family's properties. Those that the file leaves out keep their values.
void ReadFamilyProperties(CMarkup& xml, FamilyProperties& properties, CLoggerClient* logger);
/// Reads the options of a family; the document is inside the family.
template <typename Kind>
CString ReadOptions(CMarkup& xml, OptionFamily<Kind>& family, CLoggerClient* logger);

}  // namespace orv
