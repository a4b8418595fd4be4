#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

/// The rules of `orv config check`: the table used for findings, explanations, docs/config-check.md
/// and allowances.

namespace orv::tool {

enum class Severity {
  kError,    ///< the file does not load
  kWarning,  ///< the file loads, but probably not as intended
};

struct CheckRule {
  std::wstring_view name;  ///< short and stable
  Severity severity;
  const wchar_t* summary;      ///< one line: what is wrong
  const wchar_t* explanation;  ///< the consequence, and what is allowed
  const wchar_t* wrong;        ///< an example
  const wchar_t* right;        ///< the corrected example; empty to remove the text
};

// clang-format off
inline constexpr CheckRule kCheckRules[] = {
    // The document.
    {L"not-well-formed", Severity::kError, L"The file is not well-formed XML",
     L"Elements must be properly nested, text must write < as &lt;, and there must be one root element. "
     L"A file that breaks these rules does not load.",
     L"<property name=\"creator\">A < B</property>",
     L"<property name=\"creator\">A &lt; B</property>"},
    {L"not-strict-xml", Severity::kWarning, L"The file loads, but other XML programs reject it",
     L"The loader accepts some text that XML forbids, such as a bare &, an attribute without quotes, "
     L"end tags in another case or two hyphens in a comment. Editors and other programs report an error.",
     L"<property name=\"creator\">A & B</property>",
     L"<property name=\"creator\">A &amp; B</property>"},
    {L"not-utf8", Severity::kWarning, L"Bytes of the file are not UTF-8",
     L"Files are read as UTF-8 whatever they declare. An invalid sequence becomes the "
     L"replacement character U+FFFD, and orv config sign refuses the file. Save it as UTF-8.",
     L"a name with an umlaut, saved in a code page",
     L"the same name, saved as UTF-8"},
    {L"declared-encoding", Severity::kWarning, L"The XML declaration names an encoding other than UTF-8",
     L"The declaration is ignored: the file is read as UTF-8. Other programs follow the declaration "
     L"and read or save different text.",
     L"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>",
     L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {L"missing-element", Severity::kError, L"A required element is missing",
     L"All sections and their properties elements are required. Loading fails at the first one that "
     L"is missing.",
     L"<model></model>",
     L"<model><properties> ... </properties></model>"},
    {L"element-order", Severity::kError, L"A required element is before the one it must follow",
     L"The loader searches each element after the previous one, never backwards. A section before its "
     L"predecessor is not found, and the file does not load.",
     L"<device> <label> ... </label> <model> ... </model>",
     L"<device> <model> ... </model> <label> ... </label>"},
    {L"element-not-read", Severity::kWarning, L"An element is before the one it must follow and is not read",
     L"As with element-order, but the file loads without the element: its content has no effect.",
     L"<printModes> <printMode> ... </printMode> <properties> ... </properties>",
     L"<printModes> <properties> ... </properties> <printMode> ... </printMode>"},
    {L"duplicate-element", Severity::kWarning, L"Duplicate section",
     L"Only one of the two is read, usually the first. The other one has no effect.",
     L"<label> ... </label> <label> ... </label>",
     L"<label> ... </label>"},
    {L"unknown-element", Severity::kWarning, L"Unknown element",
     L"The element and its content are skipped silently.",
     L"<device> <labels> ... </labels>",
     L"<device> <label> ... </label>"},
    {L"stray-text", Severity::kWarning, L"Text between elements",
     L"Values are in property elements only. Text elsewhere is skipped silently; often it is left over "
     L"from a value or a comment.",
     L"<properties> 12 <property name=\"version\"></property>",
     L"<properties> <property name=\"version\">12</property>"},
    {L"not-loaded", Severity::kError, L"The file does not load for another reason",
     L"The loader rejects the file with the message that follows, and no other rule explains it. This "
     L"rule keeps such a file from passing the check; please report it.",
     L"", L""},

    // Properties.
    {L"property-without-name", Severity::kWarning, L"A property without a name",
     L"The attribute name holds the key. Without a key the value is not read.",
     L"<property nam=\"aRef\">DX-600-01</property>",
     L"<property name=\"aRef\">DX-600-01</property>"},
    {L"unknown-property", Severity::kWarning, L"Unknown key in a section",
     L"The value is not read, and the log says so. In printModes and sensorTypes an unknown key still "
     L"adds an entry, with the number of the previous entry.",
     L"<property name=\"widhtMin\">20000</property>",
     L"<property name=\"widthMin\">20000</property>"},
    {L"duplicate-property", Severity::kWarning, L"Duplicate key",
     L"The last one takes effect. Remove the others.",
     L"<property name=\"modelId\">1</property> <property name=\"modelId\">2</property>",
     L"<property name=\"modelId\">2</property>"},
    {L"missing-property", Severity::kWarning, L"A key is missing and takes its default",
     L"A number becomes 0, a boolean false, a text empty and a resolution 300. Write the value even "
     L"if it is the default, so that readers see that it is intended.",
     L"<properties></properties>",
     L"<properties> <property name=\"modelId\">3300</property> ... </properties>"},
    {L"required-property", Severity::kError, L"A required limit is missing",
     L"globalOffsetY, headsOffsetX and darkness require all limits of their range, or the file does not "
     L"load. Only headsOffsetXMin may be missing if headsOffsetXEnabled is present.",
     L"<property name=\"globalOffsetYMin\">0</property> alone",
     L"globalOffsetYMin, globalOffsetYStep and globalOffsetYMax"},
    {L"unknown-attribute", Severity::kWarning, L"An attribute of a property other than name",
     L"The value of a property is the text of its element. Other attributes are skipped silently, and an "
     L"element without text has an empty value.",
     L"<property name=\"widthMax\" value=\"106000\"/>",
     L"<property name=\"widthMax\">106000</property>"},
    {L"element-in-value", Severity::kWarning, L"An element in a value",
     L"A property that contains an element is read as empty. Write only text, with < as &lt;.",
     L"<property name=\"modelName\">LX <b>300</b></property>",
     L"<property name=\"modelName\">LX 300</property>"},

    // Values.
    {L"not-a-number", Severity::kWarning, L"A number is read only partly, or not at all",
     L"White space, a sign and digits are read, and the first other character ends the number; no "
     L"digits give 0. Units, decimal points and thousands separators are not supported. The proposal is the "
     L"number that was meant: a number without a unit is in the stored unit unless it has a fraction.",
     L"<property name=\"widthMin\">20.5 mm</property>",
     L"<property name=\"widthMin\">20500</property>"},
    {L"number-too-large", Severity::kWarning, L"A number beyond 32 bits",
     L"Numbers range from -2147483648 to 2147483647; the nearest number in the range is used.",
     L"<property name=\"modelId\">99999999999</property>",
     L"<property name=\"modelId\">2147483647</property>"},
    {L"not-a-boolean", Severity::kWarning, L"A boolean that is neither true nor false",
     L"Only true, compared case-insensitively, is true. Everything else is false: yes, on, 1, and true "
     L"with a blank next to it.",
     L"<property name=\"color\">yes</property>",
     L"<property name=\"color\">true</property>"},
    {L"true-in-capitals", Severity::kWarning, L"Must be TRUE, in capitals, to take effect",
     L"headsOffsetXEnabled and defaultOption are true for exactly TRUE, unlike all other booleans: "
     L"true in lower case is false there. Write FALSE if false is intended.",
     L"<property name=\"defaultOption\">true</property>",
     L"<property name=\"defaultOption\">TRUE</property>"},
    {L"not-a-time", Severity::kWarning, L"Not a valid date and time",
     L"A date and time has 19 characters: year, month, day, hour, minute and second. A text of another "
     L"length is ignored, and a field outside its range carries over into the next one.",
     L"<property name=\"created\">2026-03-02</property>",
     L"<property name=\"created\">2026-03-02T08:00:00</property>"},
    {L"time-order", Severity::kWarning, L"The file was modified before it was created",
     L"lastModified must not be before created.",
     L"created 2026-03-02T08:00:00, lastModified 2025-03-02T08:00:00",
     L"created 2026-03-02T08:00:00, lastModified 2026-03-02T08:00:00"},
    {L"unknown-value", Severity::kWarning, L"Unknown value",
     L"materialGuidance must be left, centered or right; leftHanded and rightHanded are accepted too. "
     L"Any other text is ignored, and the value is left. type must be printer.",
     L"<property name=\"materialGuidance\">center</property>",
     L"<property name=\"materialGuidance\">centered</property>"},
    {L"white-space", Severity::kWarning, L"White space around a text",
     L"Text is kept unchanged, including blanks and line ends. A name with a blank at the end is not "
     L"equal to the same name without it.",
     L"<property name=\"modelName\">ORV-LX 300 </property>",
     L"<property name=\"modelName\">ORV-LX 300</property>"},
    {L"placeholder-left", Severity::kWarning, L"A value that orv config new wrote as a placeholder",
     L"orv config new writes names, identifiers and pictures that are not those of any model. Write the "
     L"model's own.",
     L"<property name=\"boardName\">NEW-1</property>",
     L"<property name=\"boardName\">LXB-2</property>"},
    {L"empty-name", Severity::kWarning, L"The model or a family has no name",
     L"Users see modelName and optionFamilyName.",
     L"<property name=\"modelName\"></property>",
     L"<property name=\"modelName\">ORV-LX 300</property>"},
    {L"device-id", Severity::kWarning, L"The device identifier has no manufacturer or model",
     L"An IEEE 1284 device identifier is a sequence of KEY:VALUE; pairs and must contain MFG (or "
     L"MANUFACTURER) and MDL (or MODEL): plug and play uses them to find the driver.",
     L"<property name=\"deviceId\">LX300</property>",
     L"<property name=\"deviceId\">MFG:ORV;MDL:LX300;CLS:PRINTER;</property>"},

    // Numbers against each other.
    {L"range-order", Severity::kWarning, L"A minimum above its maximum",
     L"Such a range contains no value, so settings are never valid. The loader does not compare the "
     L"two.",
     L"widthMin 15000, widthMax 14000",
     L"widthMin 14000, widthMax 15000"},
    {L"range-step", Severity::kWarning, L"A step that does not divide the range",
     L"A step must be above 0 and divide the difference between maximum and minimum; otherwise the "
     L"maximum is never reached.",
     L"offsetMin 0, offsetMax 1000, offsetStep 300",
     L"offsetMin 0, offsetMax 900, offsetStep 300"},
    {L"default-outside-range", Severity::kWarning, L"A default outside its range or between two steps",
     L"The default must be one of the values that the minimum, the maximum and the step allow: "
     L"settings that start with it are corrected the first time they are checked.",
     L"offsetMin 0, offsetMax 1000, offsetStep 100, offsetDefault 150",
     L"offsetMin 0, offsetMax 1000, offsetStep 100, offsetDefault 100"},
    {L"darkness-list", Severity::kError, L"The darkness range does not yield a list of levels",
     L"The levels Min, Min + Step, ... must end exactly with Max, contain the default, and be at most "
     L"1000. The loader expands this range, unlike the others, and fails if it cannot.",
     L"darknessMin 0, darknessStep 7, darknessMax 150",
     L"darknessMin 0, darknessStep 5, darknessMax 150"},
    {L"not-positive", Severity::kWarning, L"A size, resolution, speed or version that is not above 0",
     L"Sizes of labels, the print width, resolutions, speeds and the version must be above 0, a gap and "
     L"the model number must be at least 0. A resolution with an empty text is 0, not 300.",
     L"<property name=\"resolutionDpiX\"></property>",
     L"<property name=\"resolutionDpiX\">300</property>"},
    {L"unit-scale", Severity::kWarning, L"A length or speed that is far too small or too large",
     L"Lengths are thousandths of a millimetre, and speeds millimetres a second multiplied by 1000. A "
     L"size or speed below 1 mm was probably not multiplied. Widths and offsets above 1 m, heights and "
     L"gaps above 10 m and speeds above 5 m/s were probably multiplied twice.",
     L"<property name=\"widthMax\">106</property>",
     L"<property name=\"widthMax\">106000</property>"},
    {L"resolution-scale", Severity::kWarning, L"A resolution that no print head has",
     L"Resolutions are dots per inch, typically some hundreds. A value below 50 is probably in dots per "
     L"millimetre, of which 8 are about 203 dpi. A value above 10000 is probably an error.",
     L"<property name=\"resolutionDpiX\">300000</property>",
     L"<property name=\"resolutionDpiX\">300</property>"},
    {L"print-width", Severity::kWarning, L"The print head is wider than the widest label",
     L"printWidth and widthMax contradict each other: dots beyond the widest label would never be "
     L"used. One of the two is wrong in most cases.",
     L"printWidth 105700, widthMax 100000",
     L"printWidth 105700, widthMax 106000"},
    {L"label-gap", Severity::kWarning, L"The gap is larger than the longest label",
     L"maxGapDistance is the largest gap between two labels. A gap above heightMax is probably an error.",
     L"heightMax 20000, maxGapDistance 200000",
     L"heightMax 200000, maxGapDistance 20000"},
    {L"default-not-offered", Severity::kWarning, L"A setting that is on by default and not offered",
     L"...Enabled says whether users can change the setting, ...ByDefault its initial value: this one "
     L"is always on. Allow the rule there if that is intended.",
     L"ribbonSaverEnabled false, ribbonSaverByDefault true",
     L"ribbonSaverEnabled true, ribbonSaverByDefault true"},

    // Lists.
    {L"default-not-listed", Severity::kWarning, L"A default that is not in the list",
     L"The default print mode, sensor or speed must be one of those listed. A mode or sensor that is "
     L"not listed leaves number 0. A sensor's name is written without the prefix sensorType.",
     L"<property name=\"SensorTypeDefault\">SensorTypeGap</property>",
     L"<property name=\"SensorTypeDefault\">Gap</property>"},
    {L"default-disabled", Severity::kWarning, L"The default print mode or sensor is disabled",
     L"The entry of the default is false, so users start with a value that they cannot choose.",
     L"printModedefault DirectThermal, DirectThermal false",
     L"printModedefault DirectThermal, DirectThermal true"},
    {L"duplicate-entry", Severity::kWarning, L"A print mode or sensor is listed twice",
     L"Both are kept, and users see the entry twice.",
     L"<property name=\"ThermalTransfer\">true</property> in two printMode elements",
     L"<property name=\"ThermalTransfer\">true</property> in one"},
    {L"empty-list", Severity::kWarning, L"A list without entries",
     L"printModes without a printMode, sensorTypes without a sensorType and conveyorSpeed without a "
     L"speed load, but offer no choice.",
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
    {L"unknown-family", Severity::kWarning, L"Unknown family identifier",
     L"The family is skipped with all its options. A family without an identifier takes that of the "
     L"previous family; the first family has no previous one.",
     L"<property name=\"optionFamilyId\">8</property>",
     L"<property name=\"optionFamilyId\">17</property>"},
    {L"family-type", Severity::kWarning, L"The type names another family than the identifier",
     L"Only the identifier decides how the options are read. The type is free text for messages, but "
     L"here it names another family: one of the two was probably left over from a copy.",
     L"optionFamilyId 10, optionFamilyType PeelOff",
     L"optionFamilyId 1, optionFamilyType PeelOff"},
    {L"unknown-family-type", Severity::kWarning, L"The type is not the name of a family",
     L"Only the identifier decides how the options are read, and the type is free text for messages. A "
     L"type that does not name a family is probably misspelt.",
     L"optionFamilyId 1, optionFamilyType PealOff",
     L"optionFamilyId 1, optionFamilyType PeelOff"},
    {L"duplicate-family", Severity::kWarning, L"Duplicate family",
     L"The options of both are merged, and the texts of the second one are kept. The identifiers 3 and 23 "
     L"are one family.",
     L"two optionFamily elements with optionFamilyId 2",
     L"one optionFamily with all options"},
    {L"duplicate-family-name", Severity::kWarning, L"Two families have the same name",
     L"Users cannot tell them apart.",
     L"optionFamilyName Cutter in families 2 and 9",
     L"optionFamilyName Cutter and Perforator"},
    {L"family-without-properties", Severity::kWarning, L"A family without properties",
     L"Missing family properties are inherited from the previous family, including its kind.",
     L"<optionFamily> <options> ... </options> </optionFamily>",
     L"<optionFamily> <properties> ... </properties> <options> ... </options> </optionFamily>"},
    {L"no-options", Severity::kWarning, L"A family without options",
     L"It offers no choice. Remove it, or add an option.",
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
     L"At most one option can be fitted by default; the first one takes effect.",
     L"defaultOption TRUE in two options",
     L"defaultOption TRUE in one, FALSE in the other"},

    // The file itself.
    {L"file-name", Severity::kWarning, L"The file name differs from configfilename",
     L"configfilename is the name that the file must have: the driver looks up the file by name.",
     L"configfilename orv_conf_lx300.xml in the file orv_conf_lx300p.xml",
     L"configfilename orv_conf_lx300p.xml"},
    {L"unreachable-file-name", Severity::kWarning, L"A file name that cannot be derived from a driver name",
     L"The driver looks up the file orv_conf_NAME.xml, where NAME is its own name in small letters without "
     L"orv-, blanks, hyphens, slashes and points, and with p for a plus sign. It never finds a file with another "
     L"name.",
     L"configfilename orv_conf_LX-300.xml",
     L"configfilename orv_conf_lx300.xml"},
    {L"version-skips-device", Severity::kWarning, L"The version prevents the device from being read",
     L"For version 13 or higher only the file information is loaded; all values of the device are 0, "
     L"false or empty.",
     L"<property name=\"version\">13</property> and a device",
     L"<property name=\"version\">12</property> and a device"},
    {L"not-signed", Severity::kWarning, L"The file has no digest",
     L"sha256 shows whether a file was changed after it was signed. orv config sign adds it.",
     L"<property name=\"sha256\"></property>",
     L"orv config sign FILE"},
    {L"digest", Severity::kWarning, L"The digest is not that of the file",
     L"The file was changed after it was signed. It loads, with two warnings in the log. orv config "
     L"sign updates the digest.",
     L"<property name=\"sha256\">0000...</property>",
     L"orv config sign FILE"},
    {L"bad-allowance", Severity::kWarning, L"A comment allows a rule that cannot be allowed",
     L"A comment <!-- orv-check: allow RULE --> contains the names of warnings, separated by blanks or "
     L"commas. Errors cannot be allowed: the file would still not load.",
     L"<!-- orv-check: allow speed-ordr -->",
     L"<!-- orv-check: allow speed-order -->"},
    {L"unused-allowance", Severity::kWarning, L"A comment allows a rule without findings",
     L"There is no finding of the rule on the lines of the comment or on the next line. Remove the "
     L"comment: it would hide the next fault there.",
     L"<!-- orv-check: allow speed-order --> above an ascending list", L""},
};
// clang-format on

/// The index of a rule in the table; the table's size for an unknown name.
constexpr std::size_t RuleIndex(std::wstring_view name) {
  std::size_t index = 0;
  while (index < std::size(kCheckRules) && kCheckRules[index].name != name) ++index;
  return index;
}

/// The rule with a name; null for an unknown name.
inline const CheckRule* FindCheckRule(std::wstring_view name) {
  const std::size_t index = RuleIndex(name);
  return index < std::size(kCheckRules) ? &kCheckRules[index] : nullptr;
}

/// A rule by name. An unknown name does not compile.
struct RuleName {
  consteval RuleName(const wchar_t* name) : index(RuleIndex(name)) {
    if (index == std::size(kCheckRules)) throw "no such rule";
  }
  const CheckRule& rule() const { return kCheckRules[index]; }

  std::size_t index;
};

}  // namespace orv::tool
