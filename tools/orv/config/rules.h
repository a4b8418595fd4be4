#pragma once

#include <array>
#include <span>
#include <string_view>

#include "config/property_tables.h"

/// The structure of a configuration file, element by element. The keys come from the loader's
/// tables.

namespace orv::tool {

/// What the text of a property may be.
enum class ValueKind {
  kInteger,
  kBoolean,
  kText,
  kRequiredInteger,
  kUpperCaseBoolean,
  kDateTime,
  kGuidance,
  kIgnored,
};

struct PropertyRule {
  std::wstring_view key;
  ValueKind kind;
};

/// The kind of value for each kind of field in the loader's tables.
template <typename Record>
struct ValueKindOf {
  constexpr ValueKind operator()(std::int32_t Record::*) const { return ValueKind::kInteger; }
  constexpr ValueKind operator()(bool Record::*) const { return ValueKind::kBoolean; }
  constexpr ValueKind operator()(CString Record::*) const { return ValueKind::kText; }
  constexpr ValueKind operator()(OptionalInt<Record>) const { return ValueKind::kRequiredInteger; }
  constexpr ValueKind operator()(UpperCaseBool<Record>) const {
    return ValueKind::kUpperCaseBoolean;
  }
  constexpr ValueKind operator()(DateTime<Record>) const { return ValueKind::kDateTime; }
  constexpr ValueKind operator()(Guidance<Record>) const { return ValueKind::kGuidance; }
  constexpr ValueKind operator()(Ignored) const { return ValueKind::kIgnored; }
};

template <typename Record, std::size_t kCount>
constexpr std::array<PropertyRule, kCount> RulesOf(const Property<Record> (&table)[kCount]) {
  std::array<PropertyRule, kCount> rules{};
  for (std::size_t i = 0; i < kCount; ++i) {
    rules[i] = {table[i].key, std::visit(ValueKindOf<Record>{}, table[i].field)};
  }
  return rules;
}

template <std::size_t kCount>
constexpr std::array<PropertyRule, kCount> RulesOf(const NumberedName (&names)[kCount]) {
  std::array<PropertyRule, kCount> rules{};
  for (std::size_t i = 0; i < kCount; ++i) rules[i] = {names[i].name, ValueKind::kBoolean};
  return rules;
}

inline constexpr auto kFileInfoRules = RulesOf(kFileInfoProperties);
inline constexpr auto kModelRules = RulesOf(kModelProperties);
inline constexpr auto kLabelRules = RulesOf(kLabelProperties);
inline constexpr auto kGeneralSettingsRules = RulesOf(kGeneralSettingsProperties);
inline constexpr auto kGlobalOffsetYRules = RulesOf(kGlobalOffsetYProperties);
inline constexpr auto kHeadsOffsetXRules = RulesOf(kHeadsOffsetXProperties);
inline constexpr auto kDarknessRules = RulesOf(kDarknessProperties);
inline constexpr auto kCharacteristicsRules = RulesOf(kCharacteristicsProperties);
inline constexpr auto kFamilyRules = RulesOf(kFamilyProperties);
inline constexpr auto kPrintModeRules = RulesOf(kPrintModeNames);
inline constexpr auto kSensorTypeRules = RulesOf(kSensorTypeNames);
inline constexpr PropertyRule kPrintModesRules[] = {{L"printModedefault", ValueKind::kText}};
inline constexpr PropertyRule kSensorTypesRules[] = {{L"SensorTypeDefault", ValueKind::kText}};
inline constexpr PropertyRule kPrintSpeedDefaultRules[] = {
    {L"printSpeedDefault", ValueKind::kInteger}};
inline constexpr PropertyRule kPrintSpeedRules[] = {{L"printSpeed", ValueKind::kInteger}};
inline constexpr PropertyRule kConveyorSpeedRules[] = {{L"conveyorSpeed", ValueKind::kInteger}};

/// How often the properties of one element appear.
enum class Occurrence {
  kEachOnce,   ///< every key exactly once
  kAnyOnce,    ///< each key at most once
  kMany,       ///< one key any number of times
  kElsewhere,  ///< the content is checked elsewhere, by the kind of family, or not read at all
};

enum class Need { kRequired, kOptional, kMany };

/// One element of the file: its child elements, in the order in which the loader searches them, and
/// its own properties.
struct ElementRule {
  const wchar_t* name;
  Need need;
  std::span<const ElementRule> children;
  std::span<const PropertyRule> properties;
  Occurrence occurrence = Occurrence::kEachOnce;
};

/// A `properties` element with these properties.
constexpr ElementRule PropertiesRule(std::span<const PropertyRule> rules,
                                     Occurrence occurrence = Occurrence::kEachOnce) {
  return {L"properties", Need::kRequired, {}, rules, occurrence};
}

inline constexpr ElementRule kFileInfo[] = {PropertiesRule(kFileInfoRules)};
inline constexpr ElementRule kModel[] = {PropertiesRule(kModelRules)};
inline constexpr ElementRule kLabel[] = {PropertiesRule(kLabelRules)};
inline constexpr ElementRule kGeneralSettings[] = {PropertiesRule(kGeneralSettingsRules)};
inline constexpr ElementRule kPrintMode[] = {PropertiesRule(kPrintModeRules, Occurrence::kAnyOnce)};
inline constexpr ElementRule kPrintModes[] = {PropertiesRule(kPrintModesRules),
                                              {L"printMode", Need::kMany, kPrintMode, {}}};
inline constexpr ElementRule kGlobalOffsetY[] = {PropertiesRule(kGlobalOffsetYRules)};
inline constexpr ElementRule kHeadsOffsetX[] = {PropertiesRule(kHeadsOffsetXRules)};
inline constexpr ElementRule kDarkness[] = {PropertiesRule(kDarknessRules)};
inline constexpr ElementRule kPrintSpeeds[] = {PropertiesRule(kPrintSpeedRules, Occurrence::kMany)};
inline constexpr ElementRule kPrintSpeed[] = {{L"printSpeeds", Need::kRequired, kPrintSpeeds, {}}};
inline constexpr ElementRule kSensorType[] = {
    PropertiesRule(kSensorTypeRules, Occurrence::kAnyOnce)};
inline constexpr ElementRule kSensorTypes[] = {PropertiesRule(kSensorTypesRules),
                                               {L"sensorType", Need::kMany, kSensorType, {}}};
inline constexpr ElementRule kCharacteristics[] = {PropertiesRule(kCharacteristicsRules)};
inline constexpr ElementRule kConveyorSpeed[] = {
    PropertiesRule(kConveyorSpeedRules, Occurrence::kMany)};
inline constexpr ElementRule kOptionPropertiesRule = {
    L"properties", Need::kOptional, {}, {}, Occurrence::kElsewhere};
inline constexpr ElementRule kPlainOption[] = {kOptionPropertiesRule};
inline constexpr ElementRule kBeltOption[] = {
    kOptionPropertiesRule, {L"conveyorSpeed", Need::kRequired, kConveyorSpeed, {}}};
inline constexpr ElementRule kFamily[] = {
    {L"properties", Need::kOptional, {}, kFamilyRules},
    {L"options", Need::kOptional, {}, {}, Occurrence::kElsewhere}};
inline constexpr ElementRule kDevice[] = {
    {L"model", Need::kRequired, kModel, {}},
    {L"label", Need::kRequired, kLabel, {}},
    {L"generalSettings", Need::kRequired, kGeneralSettings, {}},
    {L"printModes", Need::kRequired, kPrintModes, {}},
    {L"globalOffsetY", Need::kRequired, kGlobalOffsetY, {}},
    {L"headsOffsetX", Need::kRequired, kHeadsOffsetX, {}},
    {L"darkness", Need::kRequired, kDarkness, {}},
    {L"printSpeed", Need::kRequired, kPrintSpeed, kPrintSpeedDefaultRules},
    {L"sensorTypes", Need::kRequired, kSensorTypes, {}},
    {L"characteristics", Need::kRequired, kCharacteristics, {}},
    {L"optionFamilies", Need::kRequired, {}, {}, Occurrence::kElsewhere},
};
inline constexpr ElementRule kRoot[] = {{L"fileInfo", Need::kRequired, kFileInfo, {}},
                                        {L"device", Need::kRequired, kDevice, {}}};
inline constexpr ElementRule kRootWithoutDevice[] = {
    {L"fileInfo", Need::kRequired, kFileInfo, {}},
    {L"device", Need::kOptional, {}, {}, Occurrence::kElsewhere}};

}  // namespace orv::tool
