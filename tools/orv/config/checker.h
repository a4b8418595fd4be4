#pragma once

#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "orv/xml/markup.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/rules.h"

/// The checker of `orv config check`, which walks through a document in the same order as the
/// loader. It is implemented in check.cpp, check_elements.cpp, check_sections.cpp and
/// check_families.cpp.

namespace orv::tool {

class Checker {
 public:
  Checker(const std::wstring& text, const std::wstring& fileName)
      : isWellFormed_(xml_.SetDoc(text)), fileName_(fileName) {}

  std::vector<Finding> Run();

 private:
  /// A child element with a rule.
  struct Child {
    std::size_t rule;
    int offset;
    bool isRead = false;
  };

  /// The properties of a family; missing ones are inherited from the previous family.
  struct FamilyText {
    std::int32_t id = -1;
    std::wstring type;
    FoundProperty name{{}, {}, 0, 0};
    bool isIdWhole = true;  ///< otherwise its number is reported
    int idOffset = 0;
    int typeOffset = 0;
  };

  void Report(RuleName rule, int offset, std::wstring text, std::wstring allowed,
              std::wstring proposal) {
    findings_.Report(rule, offset, std::move(text), std::move(allowed), std::move(proposal));
  }

  // The document: check.cpp.
  void CheckEncoding();
  void CheckRoot();
  /// Reads the version before the walk; the walk checks the section.
  void ReadFileInfo();

  // Elements and properties: check_elements.cpp.
  /// Checks the children of the element that the document is inside of: their names, their order,
  /// and the content of those that are read. `hasProperties` allows `property` elements, which are
  /// checked separately.
  void CheckChildren(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                     bool hasProperties = false);
  /// The children of one rule as the loader finds them; null for none.
  struct FoundChildren {
    const Child* first = nullptr;  ///< that is read
    const Child* early = nullptr;  ///< before the elements that it must follow
  };

  /// Marks the children that the loader reads, searching in the order of the rules, and reports the
  /// others. `last` is the offset from which elements are searched.
  void FindRead(std::span<const ElementRule> rules, const std::wstring& parent, int offset,
                int last, std::vector<Child>* children);
  /// Marks the children of the rule with this number; moves `last` to the last one that is read.
  static FoundChildren MarkRead(std::size_t number, Need need, int* last,
                                std::vector<Child>* children);
  /// Reports the children of a rule that are not read. `place` says where the loader looks for
  /// them.
  void ReportUnread(const ElementRule& rule, std::size_t number, bool hasFirst,
                    const std::wstring& place, const std::vector<Child>& children);
  /// Reports that a required child was not found.
  void ReportAbsent(const ElementRule& rule, const Child* early, const std::wstring& place,
                    const std::wstring& parent, int offset);
  /// Reports text between the children of the element that the document is inside of.
  void CheckStrayText(const std::wstring& parent);
  /// Checks the element at the main position.
  void CheckElement(const ElementRule& rule);
  /// Checks the `property` elements in the element that the document is inside of.
  FoundProperties CheckProperties(std::span<const PropertyRule> rules, Occurrence occurrence,
                                  int offset);
  /// The properties of a section that have or mean a key.
  struct Claims {
    int count = 0;
    bool hasName = false;  ///< one has the right name
  };
  using ClaimedKeys = std::map<std::wstring, Claims>;
  /// The key that the property at the main position has or means; empty when it is not known.
  std::wstring MeantKey(std::span<const std::wstring_view> keys);
  /// Adds the claims of the properties in the element that the document is inside of.
  void CountClaims(std::span<const std::wstring_view> keys, ClaimedKeys* claimed);
  /// Counts the claims of all entries of the list that the document is inside of: each name is in a
  /// section of its own, but must be unique in the list.
  void CountEntryClaims(const EntryList& list);
  static bool IsClaimedOnce(const ClaimedKeys& claimed, const std::wstring& key);
  /// These two return the key that was meant; empty when it is not known, or when the section has
  /// it. A property is renamed only if no other one has or means its key.
  std::wstring ReportUnknown(std::span<const std::wstring_view> keys, const ClaimedKeys& claimed,
                             const FoundProperty& property);
  std::wstring ReportUnnamed(std::span<const std::wstring_view> keys, const ClaimedKeys& claimed,
                             const FoundProperty& property);
  /// Reports a property whose meant key another property of the section has: with that name it
  /// would take effect instead of the other one. Returns whether it is so.
  bool ReportTaken(RuleName rule, const FoundProperty& property, const std::wstring& text,
                   std::span<const std::wstring_view> keys, const ClaimedKeys& claimed,
                   const std::wstring& key);
  /// Adds a property with another name to those of the section, which then do not lack the key.
  static void AddMeant(const std::wstring& key, FoundProperty property, Occurrence occurrence,
                       FoundProperties* found);
  /// Reports the attributes of a property other than its name. Returns whether one of them contains
  /// the value.
  bool ReportAttributes(const FoundProperty& property);
  /// Reports the property at the main position, and proposes an element with this key and value.
  void ReportElement(RuleName rule, const FoundProperty& property, int place, std::wstring text,
                     std::wstring allowed, const std::wstring& key, const std::wstring& value);
  void ReportMissing(std::span<const PropertyRule> rules, const FoundProperties& found, int offset);

  // Sections: check_sections.cpp.
  /// Checks a section beyond the form of each property; `section` identifies it by its rules.
  void CheckSection(const PropertyRule* section, const FoundProperties& found, int offset);
  void CheckFileInfo(const FoundProperties& found, int offset);
  void CheckFileName(const FoundProperty& name);
  void CheckModelSection(const FoundProperties& found, int offset);
  void CheckLabelSection(const FoundProperties& found, int offset);
  void CheckGeneralSettingsSection(const FoundProperties& found, int offset);
  void KeepSpeedDefault(const FoundProperties& found, int offset);
  void CheckPrintSpeeds(const FoundProperties& found, int offset);
  void CheckConveyorSpeeds(const FoundProperties& found, int offset);
  void KeepEntryDefault(const FoundProperties& found, int offset);
  void AddEntries(const FoundProperties& found, int offset);
  /// Reports a version because of which the device is not read.
  void CheckForDevice(const FoundProperty& version);
  /// Checks the entries of a section and its default.
  void CheckEntries(const EntryList& list, int offset);

  // Families of options: check_families.cpp.
  /// Checks the families in `<optionFamilies>`, which the document is inside of.
  void CheckFamilies();
  /// Reads the properties of the family at the main position; missing ones keep their values.
  void ReadFamily(int offset, FamilyText* text);
  /// Checks the family at the main position.
  template <typename Kind>
  void CheckFamily(FamilyMember<Kind>, int offset);
  /// Checks the option at the main position.
  void CheckOption(std::span<const PropertyRule> rules, std::span<const ElementRule> children,
                   std::set<std::wstring>* names, int* defaults);
  /// Checks the name of the last option and its default flag against the options before it.
  void CheckOptionName(int offset, std::set<std::wstring>* names, int* defaults);

  CMarkup xml_;
  bool isWellFormed_;
  std::wstring fileName_;
  int rootOffset_ = 0;
  bool readsDevice_ = true;
  Findings findings_;
  FoundProperties fileInfo_;
  FoundProperties label_;
  FoundProperties speedDefault_;
  FoundProperties entryDefault_;
  FoundProperties entries_;
  ClaimedKeys entryClaims_;
  FoundProperties option_;
};

}  // namespace orv::tool
