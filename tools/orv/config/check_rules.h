#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

/// The rules of `orv config check`: the one table that findings, explanations, the document and
/// allowances go by.

namespace orv::tool {

enum class Severity {
  kError,    ///< the file does not load
  kWarning,  ///< the file loads, and probably not as it was meant
};

struct CheckRule {
  std::wstring_view name;  ///< a short name that does not change
  Severity severity;
  const wchar_t* summary;      ///< one line: what is wrong
  const wchar_t* explanation;  ///< what comes of it, and what is allowed
  const wchar_t* wrong;        ///< an example
  const wchar_t* right;        ///< the same put right; empty where there is nothing to write
};

// clang-format off
inline constexpr CheckRule kCheckRules[] = {
    // The document.
    {L"not-well-formed", Severity::kError, L"The file is no well-formed XML",
     L"Tags must be closed in the order in which they were opened, a text must write < as &lt; and & "
     L"as &amp;, and there is one root element. Nothing is read of a file that breaks these rules.",
     L"<property name=\"creator\">A < B</property>",
     L"<property name=\"creator\">A &lt; B</property>"},
    {L"not-utf8", Severity::kWarning, L"Bytes of the file are not UTF-8",
     L"Files are read as UTF-8 whatever they declare. A sequence that is not valid becomes the "
     L"replacement character U+FFFD, and orv config sign refuses the file. Save it as UTF-8.",
     L"a name with an umlaut, saved in a code page",
     L"the same name, saved as UTF-8"},
    {L"declared-encoding", Severity::kWarning, L"The XML declaration names another encoding than UTF-8",
     L"The declaration is not looked at: the file is read as UTF-8. Other programs believe it and "
     L"read, or save, something else.",
     L"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>",
     L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {L"missing-element", Severity::kError, L"A required element is missing",
     L"All sections are required, and properties in each of them. The load ends at the first one that "
     L"is not found.",
     L"<model></model>",
     L"<model><properties> ... </properties></model>"},
    {L"element-order", Severity::kError, L"A required element stands before the one it must follow",
     L"Each element is searched onward from the one that was found before it, never backwards. A "
     L"section in front of its predecessor is not found, and the file does not load.",
     L"<device> <label> ... </label> <model> ... </model>",
     L"<device> <model> ... </model> <label> ... </label>"},
    {L"element-not-read", Severity::kWarning, L"An element stands before the one it must follow and is not read",
     L"As with element-order, but the file loads without the element: what it says has no effect.",
     L"<printModes> <printMode> ... </printMode> <properties> ... </properties>",
     L"<printModes> <properties> ... </properties> <printMode> ... </printMode>"},
    {L"duplicate-element", Severity::kWarning, L"A section stands there twice",
     L"One of the two is read, in general the first. What the other one says has no effect.",
     L"<label> ... </label> <label> ... </label>",
     L"<label> ... </label>"},
    {L"unknown-element", Severity::kWarning, L"An element that is not known",
     L"It is skipped in silence with all that is in it.",
     L"<device> <labels> ... </labels>",
     L"<device> <label> ... </label>"},
    {L"stray-text", Severity::kWarning, L"Text between elements",
     L"Values stand in property elements only. Text elsewhere is skipped in silence: often the rest "
     L"of a value or of a comment.",
     L"<properties> 12 <property name=\"version\"></property>",
     L"<properties> <property name=\"version\">12</property>"},
    {L"not-loaded", Severity::kError, L"The file does not load for another reason",
     L"The loader refuses the file with the message that follows, and none of the other rules knows "
     L"why. It keeps a file that does not load from passing; please report such a file.",
     L"", L""},

    // Properties.
    {L"property-without-name", Severity::kWarning, L"A property without a name",
     L"The key stands in the attribute name. Without it the value belongs to no key and is not read.",
     L"<property nam=\"aRef\">DX-600-01</property>",
     L"<property name=\"aRef\">DX-600-01</property>"},
    {L"unknown-property", Severity::kWarning, L"A key that the section does not know",
     L"The value is not read, which the log mentions. In printModes and sensorTypes an unknown key "
     L"adds an entry all the same, with the number of the entry before it.",
     L"<property name=\"widhtMin\">20000</property>",
     L"<property name=\"widthMin\">20000</property>"},
    {L"duplicate-property", Severity::kWarning, L"A key stands there twice",
     L"The last one counts. Remove the one that is not meant.",
     L"<property name=\"modelId\">1</property> <property name=\"modelId\">2</property>",
     L"<property name=\"modelId\">2</property>"},
    {L"missing-property", Severity::kWarning, L"A key is missing and takes its default",
     L"A number becomes 0, a boolean false, a text empty and a resolution 300. Write the value even "
     L"where it is the default, so that a reader sees that it is meant.",
     L"<properties></properties>",
     L"<properties> <property name=\"modelId\">3300</property> ... </properties>"},
    {L"required-property", Severity::kError, L"A limit is missing without which the file does not load",
     L"globalOffsetY, headsOffsetX and darkness need all limits of their range; only headsOffsetXMin "
     L"may be left out when headsOffsetXEnabled is there.",
     L"<property name=\"globalOffsetYMin\">0</property> alone",
     L"globalOffsetYMin, globalOffsetYStep and globalOffsetYMax"},
    {L"element-in-value", Severity::kWarning, L"An element in a value",
     L"The value of a property that holds an element is empty. Write the text alone, with < as &lt;.",
     L"<property name=\"modelName\">LX <b>300</b></property>",
     L"<property name=\"modelName\">LX 300</property>"},

    // Values.
    {L"not-a-number", Severity::kWarning, L"A number is read only in part, or not at all",
     L"White space, a sign and digits are read, and the first other character ends the number; no "
     L"digits give 0. Units, decimal points and separators of thousands are not known.",
     L"<property name=\"widthMin\">20.5 mm</property>",
     L"<property name=\"widthMin\">20500</property>"},
    {L"number-too-large", Severity::kWarning, L"A number beyond 32 bits",
     L"Numbers reach from -2147483648 to 2147483647; the nearest one within is taken.",
     L"<property name=\"modelId\">99999999999</property>",
     L"<property name=\"modelId\">2147483647</property>"},
    {L"not-a-boolean", Severity::kWarning, L"A boolean that is neither true nor false",
     L"Only true, in any case of letters, is true. Everything else is false: yes, on, 1, and true "
     L"with a blank beside it.",
     L"<property name=\"color\">yes</property>",
     L"<property name=\"color\">true</property>"},
    {L"true-in-capitals", Severity::kWarning, L"A switch that only TRUE in capitals turns on",
     L"headsOffsetXEnabled and defaultOption are true for exactly TRUE, unlike all other booleans: "
     L"true in small letters is false there. Write FALSE if that is meant.",
     L"<property name=\"defaultOption\">true</property>",
     L"<property name=\"defaultOption\">TRUE</property>"},
    {L"not-a-time", Severity::kWarning, L"A time of another form, or one that does not exist",
     L"A time has 19 characters, year, month, day, hour, minute and second: another length is read as "
     L"no time, and a field beyond its range carries over into the next one.",
     L"<property name=\"created\">2026-03-02</property>",
     L"<property name=\"created\">2026-03-02T08:00:00</property>"},
    {L"time-order", Severity::kWarning, L"The file was changed before it was made",
     L"lastModified must not lie before created.",
     L"created 2026-03-02T08:00:00, lastModified 2025-03-02T08:00:00",
     L"created 2026-03-02T08:00:00, lastModified 2026-03-02T08:00:00"},
    {L"unknown-value", Severity::kWarning, L"A text that is none of those known",
     L"materialGuidance is left, centered or right, also leftHanded or rightHanded; any other text "
     L"changes nothing, so that left remains. type is printer.",
     L"<property name=\"materialGuidance\">center</property>",
     L"<property name=\"materialGuidance\">centered</property>"},
    {L"white-space", Severity::kWarning, L"White space around a text",
     L"Texts are kept as they are, with blanks and line ends. Names with a blank at the end compare "
     L"unequal to the same names without.",
     L"<property name=\"modelName\">ORV-LX 300 </property>",
     L"<property name=\"modelName\">ORV-LX 300</property>"},
    {L"empty-name", Severity::kWarning, L"The model or a family has no name",
     L"modelName and optionFamilyName are what people see.",
     L"<property name=\"modelName\"></property>",
     L"<property name=\"modelName\">ORV-LX 300</property>"},
    {L"device-id", Severity::kWarning, L"The device identifier lacks the maker or the model",
     L"An IEEE 1284 device identifier is a row of KEY:VALUE; pairs and must name MFG (or "
     L"MANUFACTURER) and MDL (or MODEL): plug and play finds the driver by them.",
     L"<property name=\"deviceId\">LX300</property>",
     L"<property name=\"deviceId\">MFG:ORV;MDL:LX300;CLS:PRINTER;</property>"},

    // Numbers against each other.
    {L"range-order", Severity::kWarning, L"A minimum above its maximum",
     L"No value is in such a range, so that settings are never valid. The loader does not compare the "
     L"two.",
     L"widthMin 15000, widthMax 14000",
     L"widthMin 14000, widthMax 15000"},
    {L"range-step", Severity::kWarning, L"A step that does not lead from the minimum to the maximum",
     L"A step is above 0 and goes into the range a whole number of times; otherwise the maximum is "
     L"never reached.",
     L"offsetMin 0, offsetMax 1000, offsetStep 300",
     L"offsetMin 0, offsetMax 900, offsetStep 300"},
    {L"default-outside-range", Severity::kWarning, L"A default outside its range or between two steps",
     L"The default must be one of the values that the minimum, the maximum and the step allow: "
     L"settings that start with it are corrected the first time they are checked.",
     L"offsetMin 0, offsetMax 1000, offsetStep 100, offsetDefault 150",
     L"offsetMin 0, offsetMax 1000, offsetStep 100, offsetDefault 100"},
    {L"darkness-list", Severity::kError, L"The darkness range makes no list of levels",
     L"The levels Min, Min + Step, ... must end with Max exactly, hold the default, and be at most "
     L"1000. Other ranges are kept as they are; this one is expanded, and the file does not load "
     L"otherwise.",
     L"darknessMin 0, darknessStep 7, darknessMax 150",
     L"darknessMin 0, darknessStep 5, darknessMax 150"},
    {L"not-positive", Severity::kWarning, L"A size, resolution, speed or version that is not above 0",
     L"Sizes of labels, the print width, resolutions, speeds and the version must be above 0, a gap and "
     L"the model's number 0 at least. A resolution with an empty text is 0, not 300.",
     L"<property name=\"resolutionDpiX\"></property>",
     L"<property name=\"resolutionDpiX\">300</property>"},
    {L"unit-scale", Severity::kWarning, L"A length or speed that looks like millimetres",
     L"Lengths are thousandths of a millimetre, and speeds millimetres a second multiplied by 1000. A "
     L"size or speed below 1 mm is taken for one that was not multiplied.",
     L"<property name=\"widthMax\">106</property>",
     L"<property name=\"widthMax\">106000</property>"},
    {L"resolution-scale", Severity::kWarning, L"A resolution that no print head has",
     L"Resolutions are dots per inch, some hundreds of them. One above 10000 is taken for a slip.",
     L"<property name=\"resolutionDpiX\">300000</property>",
     L"<property name=\"resolutionDpiX\">300</property>"},
    {L"print-width", Severity::kWarning, L"The print head is wider than the widest label",
     L"printWidth and widthMax contradict each other: dots beyond the widest label would never be "
     L"used. One of the two is wrong in most cases.",
     L"printWidth 105700, widthMax 100000",
     L"printWidth 105700, widthMax 106000"},
    {L"label-gap", Severity::kWarning, L"The gap is larger than the longest label",
     L"maxGapDistance is the largest gap between two labels. One above heightMax is taken for a slip.",
     L"heightMax 20000, maxGapDistance 200000",
     L"heightMax 200000, maxGapDistance 20000"},
    {L"default-not-offered", Severity::kWarning, L"A setting that is on by default and not offered",
     L"...Enabled says that users can change the setting, ...ByDefault what it is until they do: this "
     L"one is always on. Allow the rule there if that is meant.",
     L"ribbonSaverEnabled false, ribbonSaverByDefault true",
     L"ribbonSaverEnabled true, ribbonSaverByDefault true"},

    // Lists.
    {L"default-not-listed", Severity::kWarning, L"A default that the list does not hold",
     L"The default print mode, sensor or speed must be one of those listed. A mode or sensor that is "
     L"not listed leaves number 0. A sensor's name is written without sensorType in front.",
     L"<property name=\"SensorTypeDefault\">SensorTypeGap</property>",
     L"<property name=\"SensorTypeDefault\">Gap</property>"},
    {L"default-disabled", Severity::kWarning, L"The default print mode or sensor is disabled",
     L"The entry that the default names says false, so that users start with what they cannot choose.",
     L"printModedefault DirectThermal, DirectThermal false",
     L"printModedefault DirectThermal, DirectThermal true"},
    {L"duplicate-entry", Severity::kWarning, L"A print mode or sensor is listed twice",
     L"Both are kept, and users see the entry twice.",
     L"<property name=\"ThermalTransfer\">true</property> in two printMode elements",
     L"<property name=\"ThermalTransfer\">true</property> in one"},
    {L"empty-list", Severity::kWarning, L"A list without entries",
     L"printModes without a printMode, sensorTypes without a sensorType and conveyorSpeed without a "
     L"speed load and offer nothing.",
     L"<printModes> <properties> ... </properties> </printModes>",
     L"<printModes> <properties> ... </properties> <printMode> ... </printMode> </printModes>"},
    {L"no-print-speed", Severity::kError, L"The printer has no print speed",
     L"A file without a printSpeed property does not load.",
     L"<printSpeeds><properties></properties></printSpeeds>",
     L"<printSpeeds><properties><property name=\"printSpeed\">100000</property></properties></printSpeeds>"},
    {L"speed-duplicate", Severity::kWarning, L"A speed is listed twice",
     L"Both are kept, and users see the speed twice.",
     L"50000, 75000, 75000, 100000",
     L"50000, 75000, 100000"},
    {L"speed-order", Severity::kWarning, L"Speeds do not ascend",
     L"Speeds are offered in the order of the file; users expect them to ascend.",
     L"50000, 100000, 75000",
     L"50000, 75000, 100000"},

    // Option families.
    {L"unknown-family", Severity::kWarning, L"A family whose identifier is not known",
     L"The family is skipped with all its options. A family without an identifier takes that of the "
     L"family before it; the first one has none to take.",
     L"<property name=\"optionFamilyId\">8</property>",
     L"<property name=\"optionFamilyId\">17</property>"},
    {L"family-type", Severity::kWarning, L"The type names another family than the identifier",
     L"The identifier alone decides how the options are read. The type is free text for messages, but "
     L"here it is the name of another family: one of the two was left over from a copy.",
     L"optionFamilyId 10, optionFamilyType PeelOff",
     L"optionFamilyId 1, optionFamilyType PeelOff"},
    {L"unknown-family-type", Severity::kWarning, L"The type is the name of no family",
     L"The identifier alone decides how the options are read, and the type is free text for messages. One "
     L"that names no family says nothing to whoever reads them, and is a slip in most cases.",
     L"optionFamilyId 1, optionFamilyType PealOff",
     L"optionFamilyId 1, optionFamilyType PeelOff"},
    {L"duplicate-family", Severity::kWarning, L"A family stands there twice",
     L"The options of both are joined, and the second one's texts are kept. The identifiers 3 and 23 "
     L"are one family.",
     L"two optionFamily elements with optionFamilyId 2",
     L"one optionFamily with all options"},
    {L"duplicate-family-name", Severity::kWarning, L"Two families have the same name",
     L"Users cannot tell them apart.",
     L"optionFamilyName Cutter in families 2 and 9",
     L"optionFamilyName Cutter and Perforator"},
    {L"family-without-properties", Severity::kWarning, L"A family without properties",
     L"It is read as another one of the kind of the family before it, whose texts it keeps too.",
     L"<optionFamily> <options> ... </options> </optionFamily>",
     L"<optionFamily> <properties> ... </properties> <options> ... </options> </optionFamily>"},
    {L"no-options", Severity::kWarning, L"A family without options",
     L"It offers nothing. Remove it, or add an option.",
     L"<optionFamily> <properties> ... </properties> </optionFamily>",
     L"<optionFamily> <properties> ... </properties> <options> ... </options> </optionFamily>"},
    {L"option-without-properties", Severity::kWarning, L"An option without properties",
     L"It is ignored.",
     L"<option></option>",
     L"<option> <properties> ... </properties> </option>"},
    {L"option-without-name", Severity::kWarning, L"An option without a name",
     L"It is ignored, even if it is the default.",
     L"<property name=\"optionName\"></property>",
     L"<property name=\"optionName\">Guillotine</property>"},
    {L"duplicate-option", Severity::kWarning, L"Two options of a family have the same name",
     L"Users cannot tell them apart.",
     L"optionName Stamp 200 in two options",
     L"optionName Stamp 200 and Stamp 400"},
    {L"two-defaults", Severity::kWarning, L"A family has two default options",
     L"One option at most can be fitted by default; the first one counts.",
     L"defaultOption TRUE in two options",
     L"defaultOption TRUE in one, FALSE in the other"},

    // The file itself.
    {L"file-name", Severity::kWarning, L"The file has another name than it says",
     L"configfilename is the name that the file should have: the driver looks for a file by name.",
     L"configfilename orv_conf_lx300.xml in the file orv_conf_lx300p.xml",
     L"configfilename orv_conf_lx300p.xml"},
    {L"version-skips-device", Severity::kWarning, L"The version keeps the device from being read",
     L"A file of version 13 or above loads with its file information alone, and all values of the "
     L"device are 0, false or empty.",
     L"<property name=\"version\">13</property> and a device",
     L"<property name=\"version\">12</property> and a device"},
    {L"not-signed", Severity::kWarning, L"The file has no digest",
     L"sha256 tells whether a file was changed after it was made; without it nobody can tell. orv "
     L"config sign adds it.",
     L"<property name=\"sha256\"></property>",
     L"orv config sign FILE"},
    {L"digest", Severity::kWarning, L"The digest is not that of the file",
     L"The file was changed after it was signed. It loads, with two warnings in the log. orv config "
     L"sign puts the digest right.",
     L"<property name=\"sha256\">0000...</property>",
     L"orv config sign FILE"},
    {L"bad-allowance", Severity::kWarning, L"A comment allows a rule that cannot be allowed",
     L"A comment <!-- orv-check: allow RULE --> takes the names of warnings, separated by blanks or "
     L"commas. Errors cannot be allowed: the file would still not load.",
     L"<!-- orv-check: allow speed-ordr -->",
     L"<!-- orv-check: allow speed-order -->"},
    {L"unused-allowance", Severity::kWarning, L"A comment allows what is not found",
     L"The comment has no finding of the rule on its own lines or on the line below. Remove it: the "
     L"next fault there would go unseen.",
     L"<!-- orv-check: allow speed-order --> above an ascending list", L""},
};
// clang-format on

/// The number of a rule in the table; that of none is the table's size.
constexpr std::size_t RuleIndex(std::wstring_view name) {
  std::size_t index = 0;
  while (index < std::size(kCheckRules) && kCheckRules[index].name != name) ++index;
  return index;
}

/// The rule of a name; null when there is none.
inline const CheckRule* FindCheckRule(std::wstring_view name) {
  const std::size_t index = RuleIndex(name);
  return index < std::size(kCheckRules) ? &kCheckRules[index] : nullptr;
}

/// A rule by its name. One that is not in the table does not compile.
struct RuleName {
  consteval RuleName(const wchar_t* name) : index(RuleIndex(name)) {
    if (index == std::size(kCheckRules)) throw "no such rule";
  }
  const CheckRule& rule() const { return kCheckRules[index]; }

  std::size_t index;
};

}  // namespace orv::tool
