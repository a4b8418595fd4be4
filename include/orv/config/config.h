#pragma once

#include <cstdint>
#include <vector>

#include "orv/platform/types.h"

/// A printer configuration file as plain structures, filled by `CConfigParser`:
///
///     for (const SensorType& sensor : config->device.sensorTypes.types) Use(sensor.type);
///
/// A field that no property of the file sets is 0, false or empty. Structures in the cache are
/// shared between threads and never change.

/// The file's own identity.
struct FileInfo {
  CString type;                   ///< "printer"
  CString configFileName;         ///< the name that the file should have
  std::int32_t version = 0;       ///< a file of version 13 or above has no device part here
  CString creator;                ///< who or what wrote the file
  std::int64_t created = 0;       ///< seconds since 1970-01-01, 0 when unknown
  std::int64_t lastModified = 0;  ///< as `created`
  CString culture;                ///< the language of its texts, such as "en-GB"
  CString sha256;  ///< the file's digest as 64 lower-case hexadecimal digits, empty if unsigned
};

/// The printer model.
struct Model {
  /// What identifies the model: to programs, to people, to plug and play.
  std::int32_t modelId = 0;
  CString modelName;
  CString boardName;
  CString pnpID;
  CString deviceId;
  CString aRef;
  CString orvModification;
  CString deviceImageFile;
};

/// The label sizes that the printer takes; lengths in thousandths of a millimetre.
struct Label {
  /// The range of widths, the range of lengths, and the largest gap between two labels.
  std::int32_t widthMin = 0;
  std::int32_t widthMax = 0;
  std::int32_t widthDefault = 0;
  std::int32_t heightMin = 0;
  std::int32_t heightMax = 0;
  std::int32_t heightDefault = 0;
  std::int32_t maxGapDistance = 0;
};

/// The edge of the print head at which the material runs.
enum MaterialGuidance : std::int32_t {
  materialGuidanceLeft = 0,
  materialGuidanceCentered = 1,
  materialGuidanceRight = 2,
};

/// What the printer can do, as pairs of "the setting is offered" and "it is on by default".
struct GeneralSettings {
  std::int32_t printWidth = 0;  ///< of the print head, in thousandths of a millimetre

  /// `...Enabled`: users may change the setting. `...ByDefault`: what it is until they do.
  bool rotateLabelEnabled = false;
  bool rotateLabelByDefault = false;
  bool mirroredLabelPrintingEnabled = false;
  bool mirroredLabelPrintingByDefault = false;
  bool negativeLabelEnabled = false;
  bool negativeLabelByDefault = false;
  bool singleBufferEnabled = false;
  bool singleBufferByDefault = false;
  bool ignorePaperEndEnabled = false;
  bool ignorePaperEndByDefault = false;
  bool discardLabelPositionEnabled = false;
  bool discardLabelPositionByDefault = false;
  bool topSameAsBottomEnabled = false;
  bool topSameAsBottomByDefault = false;
  bool backfeedmodeEnabled = false;
  bool backfeedmodeByDefault = false;
  std::int32_t resolutionDpiX = 0;  ///< dots per inch; 300 when the section has no such key
  std::int32_t resolutionDpiY = 0;  ///< as `resolutionDpiX`
  bool imageOptByDefault = false;
  bool imageOptEnabled = false;
  bool replaceContentByDefault = false;
  bool replaceContentEnabled = false;
  MaterialGuidance materialGuidance = materialGuidanceLeft;  ///< where the material runs
  bool ribbonSaverByDefault = false;
  bool ribbonSaverEnabled = false;
  bool customPageSizeByDefault = false;
  bool customPageSizeEnabled = false;
};

/// One print mode.
struct PrintMode {
  std::int32_t mode = 0;  ///< 0 thermal transfer, 1 direct thermal
  bool enabled = false;   ///< whether the printer offers it
};

/// The print modes of the printer.
struct PrintModes {
  std::int32_t defaultMode = 0;  ///< the number of one of them
  std::vector<PrintMode> modes;  ///< in document order
};

/// The range of the vertical offset; kept as read, not checked.
struct GlobalOffsetY {
  /// Thousandths of a millimetre.
  std::int32_t min = 0;
  std::int32_t max = 0;
  std::int32_t step = 0;
};

/// The range of the horizontal head offset; kept as read, not checked.
struct HeadsOffsetX {
  bool enabled = false;  ///< whether the offset can be set

  /// Thousandths of a millimetre.
  std::int32_t min = 0;
  std::int32_t max = 0;
  std::int32_t step = 0;
};

/// The levels of darkness.
struct Darkness {
  std::vector<std::int32_t> values;  ///< every level on offer, ascending
  std::int32_t defaultValue = 0;     ///< one of them
};

/// Print speeds, each multiplied by 1000.
struct PrintSpeeds {
  std::vector<std::int32_t> speeds;  ///< in document order
  std::int32_t defaultSpeed = 0;     ///< one of them
};

/// One media sensor.
struct SensorType {
  /// 0 continuous, 1 reflective top, 2 gap, 3 reflective bottom, 4 external positive edge, 5
  /// external negative edge.
  std::int32_t type = 0;

  bool enabled = false;  ///< whether the printer offers it
};

/// The media sensors of the printer.
struct SensorTypes {
  std::int32_t defaultType = 0;   ///< the number of one of them
  std::vector<SensorType> types;  ///< in document order
};

/// What kind of printer it is.
struct Characteristics {
  bool doubleSided = false;  ///< prints both sides of a label
  bool color = false;        ///< prints in two colours
};

/// What every option of every family begins with.
struct Option {
  BOOL isDefault = 0;       ///< whether it is fitted until a user says otherwise
  CString optionName;       ///< what people see
  CString optionImageFile;  ///< the name of its picture
};

/// The options of one kind that can be fitted to the printer. `T` is the kind's option record.
template <typename T>
struct OptionFamily {
  std::vector<T> options;           ///< the options that have a name, in file order
  std::int32_t optionFamilyId = 0;  ///< the number by which the file names the kind
  CString optionFamilyType;         ///< free text, used in messages
  CString optionFamilyName;         ///< what people see
  CString optionFamilyImageFile;    ///< the name of its picture
};

/// A label applicator.
struct Applicator : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;

  /// The range of the delay until the supporting air starts.
  std::int32_t startDelaySupportingAirMin = 0;
  std::int32_t startDelaySupportingAirMax = 0;
  std::int32_t startDelaySupportingAirStep = 0;
  std::int32_t startDelaySupportingAirDefault = 0;

  /// The range of the delay until the supporting air stops.
  std::int32_t stopDelaySupportingAirMin = 0;
  std::int32_t stopDelaySupportingAirMax = 0;
  std::int32_t stopDelaySupportingAirStep = 0;
  std::int32_t stopDelaySupportingAirDefault = 0;

  /// The range of the delay until printing starts.
  std::int32_t startDelayPrintMin = 0;
  std::int32_t startDelayPrintMax = 0;
  std::int32_t startDelayPrintStep = 0;
  std::int32_t startDelayPrintDefault = 0;

  /// The range of the time during which start signals are ignored.
  std::int32_t lockTimeMin = 0;
  std::int32_t lockTimeMax = 0;
  std::int32_t lockTimeStep = 0;
  std::int32_t lockTimeDefault = 0;

  /// The range of the duration of the air blast.
  std::int32_t blowTimeMin = 0;
  std::int32_t blowTimeMax = 0;
  std::int32_t blowTimeStep = 0;
  std::int32_t blowTimeDefault = 0;
};

/// A bar code verifier.
struct BarcodeVerifier : Option {};

/// A bar code verifier with a peel-off edge.
struct BarcodeVerifierWithPeel : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// An applicator with a belt.
struct BeltApplicator : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;

  /// The range of the delay until printing starts.
  std::int32_t startDelayPrintMin = 0;
  std::int32_t startDelayPrintMax = 0;
  std::int32_t startDelayPrintStep = 0;
  std::int32_t startDelayPrintDefault = 0;

  /// The range of the position of the label.
  std::int32_t labelPositionMin = 0;
  std::int32_t labelPositionMax = 0;
  std::int32_t labelPositionStep = 0;
  std::int32_t labelPositionDefault = 0;

  /// The range of applying while the belt runs.
  std::int32_t applyRunningMin = 0;
  std::int32_t applyRunningMax = 0;
  std::int32_t applyRunningStep = 0;
  std::int32_t applyRunningDefault = 0;
  std::int32_t conveyorSpeedDefault = 0;     ///< one of the speeds, each multiplied by 1000
  std::vector<std::int32_t> conveyorSpeeds;  ///< in file order
};

/// A cutter.
struct Cutter : Option {
  /// The range of the first offset.
  std::int32_t offset1Min = 0;
  std::int32_t offset1Max = 0;
  std::int32_t offset1Step = 0;
  std::int32_t offset1Default = 0;

  /// The range of the second offset.
  std::int32_t offset2Min = 0;
  std::int32_t offset2Max = 0;
  std::int32_t offset2Step = 0;
  std::int32_t offset2Default = 0;
};

/// A dispensing module.
struct DispensingModule : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// A module of inputs and outputs.
struct IoModule : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// A pause adapter.
struct PauseAdapter : Option {};

/// A peel-off edge.
struct PeelOff : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// A perforator.
struct Perforator : Option {
  /// The range of the first offset.
  std::int32_t offset1Min = 0;
  std::int32_t offset1Max = 0;
  std::int32_t offset1Step = 0;
  std::int32_t offset1Default = 0;

  /// The range of the second offset.
  std::int32_t offset2Min = 0;
  std::int32_t offset2Max = 0;
  std::int32_t offset2Step = 0;
  std::int32_t offset2Default = 0;

  /// The range of the depth of the perforation.
  std::int32_t perforatorDeepnessMin = 0;
  std::int32_t perforatorDeepnessMax = 0;
  std::int32_t perforatorDeepnessStep = 0;
  std::int32_t perforatorDeepnessDefault = 0;
};

/// A rewinder.
struct Rewinder : Option {};

/// A ribbon saver.
struct RibbonSaver : Option {};

/// A tear-off edge.
struct TearOff : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// An applicator for tubes.
struct TubeApplicator : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;
};

/// An applicator that wraps labels around.
struct WrappingApplicator : Option {
  /// The range of the offset.
  std::int32_t offsetMin = 0;
  std::int32_t offsetMax = 0;
  std::int32_t offsetStep = 0;
  std::int32_t offsetDefault = 0;

  /// The range of the wrapping position.
  std::int32_t wrapPosMin = 0;
  std::int32_t wrapPosMax = 0;
  std::int32_t wrapPosDefault = 0;
};

/// The printer that the file describes, section by section, then its option families.
struct Device {
  /// The sections of the file.
  Model model;
  Label label;
  GeneralSettings generalSettings;
  PrintModes printModes;
  GlobalOffsetY globalOffsetY;
  HeadsOffsetX headsOffsetX;
  Darkness darkness;
  PrintSpeeds printSpeeds;
  SensorTypes sensorTypes;
  Characteristics characteristics;

  /// What can be fitted to the printer; a family that the file does not have has no options.
  OptionFamily<Applicator> applicator;
  OptionFamily<BarcodeVerifier> barcodeVerifier;
  OptionFamily<BarcodeVerifierWithPeel> barcodeVerifierWithPeel;
  OptionFamily<BeltApplicator> beltApplicator;
  OptionFamily<Cutter> cutter;
  OptionFamily<DispensingModule> dispensingModule;
  OptionFamily<IoModule> ioModule;
  OptionFamily<PauseAdapter> pauseAdapter;
  OptionFamily<PeelOff> peelOff;
  OptionFamily<Perforator> perforator;
  OptionFamily<Rewinder> rewinder;
  OptionFamily<RibbonSaver> ribbonSaver;
  OptionFamily<TearOff> tearOff;
  OptionFamily<TubeApplicator> tubeApplicator;
  OptionFamily<WrappingApplicator> wrappingApplicator;
};

/// One configuration file.
struct Config {
  FileInfo fileInfo;  ///< the file itself
  Device device;      ///< the printer
};
