#include "orv/xml/strict_check.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <iterator>
#include <limits>
#include <unordered_map>
#include <utility>

#include "orv/text/format.h"
#include "xml/name_rules.h"
#include "xml/name_tables.h"
#include "xml/names.h"
#include "xml/references.h"

namespace orv {
namespace {

constexpr std::size_t kMaxFaults = 1000;

// --- Characters ---

bool IsCharacter(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code < 0xD800 || (code >= 0xE000 && code <= 0xFFFD) ||
         (code >= 0x10000 && code <= 0x10FFFF);
}

std::wstring_view PrefixOf(std::wstring_view name) {
  const std::size_t colon = name.find(L':');
  return colon == name.npos ? std::wstring_view() : name.substr(0, colon);
}

/// The position of the first code unit of a set, or the end of the text.
std::size_t FindAny(std::wstring_view text, std::wstring_view units, std::size_t from = 0) {
  return std::min(text.find_first_of(units, from), text.size());
}

std::size_t SkipSpace(std::wstring_view text, std::size_t from = 0) {
  while (from < text.size() && IsWhiteSpace(text[from])) ++from;
  return from;
}

constexpr std::wstring_view kSpaces = L" \t\r\n";

// --- The XML declaration ---

bool IsVersion(std::wstring_view value) {
  return value.size() > 2 && value.starts_with(L"1.") &&
         std::ranges::all_of(value.substr(2), IsDigit);
}

bool IsEncodingName(std::wstring_view value) {
  const wchar_t first = value.empty() ? L'\0' : ToLowerAscii(value[0]);
  return first >= L'a' && first <= L'z' && std::ranges::all_of(value, [](wchar_t unit) {
           const auto code = static_cast<std::uint32_t>(unit);
           return code < 0x80 && unit != L':' && IsNameChar(code);
         });
}

bool IsYesOrNo(std::wstring_view value) { return value == L"yes" || value == L"no"; }

/// The prefix of attributes that declare namespaces, and the attribute for the default one.
constexpr std::wstring_view kXmlns = L"xmlns";

struct DeclarationPart {
  std::wstring_view name;
  bool (*isValid)(std::wstring_view value);
  bool isRequired;
};
constexpr DeclarationPart kDeclarationParts[] = {{L"version", &IsVersion, true},
                                                 {L"encoding", &IsEncodingName, false},
                                                 {L"standalone", &IsYesOrNo, false}};

/// Removes a text in quotes, and what is before its quote at `quote`, from a text. Returns the text
/// in quotes. Without such a text it removes nothing and returns a view with null data.
std::wstring_view TakeQuoted(std::size_t quote, std::wstring_view* text) {
  if (quote == text->size() || !IsQuote((*text)[quote])) return {};
  const std::size_t close = text->find((*text)[quote], quote + 1);
  if (close == text->npos) return {};
  const std::wstring_view quoted = text->substr(quote + 1, close - quote - 1);
  text->remove_prefix(close + 1);
  return quoted;
}

/// Removes white space and a name with its value from the start of a text. Returns the value; null
/// data, and the text unchanged, if there is something else.
std::wstring_view TakePart(std::wstring_view name, std::wstring_view* text) {
  const std::size_t start = SkipSpace(*text);
  if (start == 0 || !text->substr(start).starts_with(name)) return {};
  const std::size_t equals = SkipSpace(*text, start + name.size());
  if (equals == text->size() || (*text)[equals] != L'=') return {};
  return TakeQuoted(SkipSpace(*text, equals + 1), text);
}

/// Whether a text is what comes after `<?xml` in a declaration. Sets whether the document stands
/// alone.
bool IsDeclaration(std::wstring_view text, bool* isStandalone) {
  for (const DeclarationPart& part : kDeclarationParts) {
    const std::wstring_view value = TakePart(part.name, &text);
    if (value.data() == nullptr ? part.isRequired : !part.isValid(value)) return false;
    *isStandalone = value == L"yes";
  }
  return SkipSpace(text) == text.size();
}

// --- Declarations in the document type ---

/// Removes white space and a text in quotes from the start of a text. Returns the text in quotes;
/// null data, and nothing removed, if there is something else.
std::wstring_view TakeLiteral(std::wstring_view* text) {
  const std::size_t quote = SkipSpace(*text);
  return quote > 0 ? TakeQuoted(quote, text) : std::wstring_view();
}

bool HasIdentifier(std::wstring_view text) {
  return text.starts_with(L"SYSTEM") || text.starts_with(L"PUBLIC");
}

/// What public identifiers contain apart from letters and digits.
constexpr std::wstring_view kPublicMarks = L" \r\n-'()+,./:=?;!*#@$_%";

/// Removes the identifier of a file from the start of a text that has one. False if it is invalid.
bool TakeIdentifier(std::wstring_view* text) {
  constexpr std::size_t kKeyword = 6;
  const bool isPublic = text->starts_with(L'P');
  text->remove_prefix(kKeyword);
  if (isPublic) {
    const std::wstring_view name = TakeLiteral(text);
    const bool isValid = name.data() != nullptr && std::ranges::all_of(name, [](wchar_t unit) {
                           const wchar_t lower = ToLowerAscii(unit);
                           return (lower >= L'a' && lower <= L'z') || IsDigit(unit) ||
                                  kPublicMarks.find(unit) != kPublicMarks.npos;
                         });
    if (!isValid) return false;
  }
  return TakeLiteral(text).data() != nullptr;
}

/// Removes the keyword of an unparsed entity and the name of its format from the start of a text;
/// false if there is something else.
bool TakeFormat(std::wstring_view* text) {
  constexpr std::wstring_view kKeyword = L"NDATA";
  const std::size_t start = SkipSpace(*text);
  if (start == 0 || !text->substr(start).starts_with(kKeyword)) return false;
  const std::size_t name = SkipSpace(*text, start + kKeyword.size());
  const std::size_t end = FindAny(*text, kSpaces, name);
  if (name == start + kKeyword.size() || !IsSimpleName(text->substr(name, end - name))) {
    return false;
  }
  text->remove_prefix(end);
  return true;
}

// --- Descriptions ---

/// How a violation is described; `{}` stands for the wrong text, or the name of the element.
struct StrictText {
  const wchar_t* text;
  const wchar_t* allowed;
  const wchar_t* fix;
};
constexpr StrictText kStrictTexts[] = {
    {L"this '{}' is not valid markup", L"'<' and a name, '/', '?', '!--', '![CDATA[' or '!DOCTYPE'",
     L"&lt;"},
    {L"the text ends inside this markup", L"markup with its end", L">"},
    {L"there is a '<' inside the tag", L"the end of the tag", L">"},
    {L"this '&' begins no reference", L"'&amp;', '&lt;', '&#NUMBER;'", L"&amp;"},
    {L"the entity is not declared: {}", L"&amp; &lt; &gt; &quot; &apos; and declared entities",
     L"&amp; for the '&'"},
    {L"the reference is not possible here: {}",
     L"numbers of characters, and entities with a text in the document", L"nothing"},
    {L"a control character or half a character", L"tab, line breaks and characters from U+0020 on",
     L"nothing"},
    {L"not a valid name: {}", L"letters, digits, '.', '-', '_' and one ':'; a letter or '_' first",
     L"a name"},
    {L"the element already has the attribute {}", L"each attribute once", L"nothing"},
    {L"the attribute has no value: {}", L"a value in quotes", L"{}=\"\""},
    {L"the value is not in quotes: {}", L"a value in quotes", L"\"{}\""},
    {L"no space before the attribute", L"white space between attributes", L"a blank before it"},
    {L"there is a '<' in the value", L"&lt;", L"&lt;"},
    {L"the end tag contains more than a name: {}", L"a name and white space", L"nothing"},
    {L"there is text outside the root element", L"comments, instructions and white space",
     L"nothing"},
    {L"there is a '--' in the comment", L"single hyphens", L"-"},
    {L"there is a ']]>' in the text", L"]]&gt;", L"]]&gt;"},
    {L"the XML declaration is not at the start", L"one at the start of the file", L"nothing"},
    {L"the XML declaration is not valid", L"the version, then encoding and standalone",
     L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>"},
    {L"the document type declaration is misplaced", L"one, before the root element", L"nothing"},
    {L"the document type declaration is not valid", L"only declarations", L"nothing"},
    {L"the namespace prefix is not declared: {}", L"prefixes that xmlns:PREFIX declares",
     L"a declaration xmlns:{}=\"...\""},
    {L"the namespace declaration is not allowed: {}",
     L"a namespace that is not empty; xml and xmlns only for their own", L"nothing"},
    {L"the end tag closes no open element: {}", L"the end tag of the element that is open",
     L"nothing"},
    {L"the element is never closed: {}", L"one end tag for it", L"</{}>"},
    {L"there is more than one root element", L"one root element with all others in it",
     L"one element around them, or nothing after the first"},
    {L"there is no root element", L"one root element", L"<root/>"},
};
static_assert(std::size(kStrictTexts) == static_cast<std::size_t>(StrictRule::kNoRoot) + 1);

std::wstring FillIn(const wchar_t* text, std::wstring_view part) {
  std::wstring filled = text;
  const std::size_t place = filled.find(L"{}");
  return place != filled.npos ? filled.replace(place, 2, part) : filled;
}

// --- The check ---

/// A violation before its description.
struct RawFault {
  StrictRule rule;
  std::size_t offset;
  std::size_t length;
  std::wstring_view subject;  ///< a part of the text for the description
  std::wstring fix;           ///< empty for the one of the rule
};

/// What a run of text consists of, apart from characters.
enum class RunKind { kText, kValue, kEntityText, kVerbatim };

class StrictChecker {
 public:
  explicit StrictChecker(std::wstring_view text) : text_(text) {}

  std::vector<StrictFault> Run() {
    start_ = text_.starts_with(L'\uFEFF') ? 1 : 0;
    at_ = start_;
    while (at_ < text_.size() && faults_.size() < kMaxFaults) {
      const std::size_t tag = std::min(text_.find(L'<', at_), text_.size());
      CheckText(at_, tag);
      at_ = tag;
      if (tag < text_.size()) CheckMarkup();
    }
    CheckEnd();
    return Describe();
  }

 private:
  struct OpenElement {
    std::wstring_view name;
    std::size_t outerDeclarations;  ///< the declarations around it
    std::size_t correction;         ///< the fault of an end tag that is meant for it, or `kNone`
    bool isReported;                ///< a missing end tag is a consequence
  };

  struct Namespace {
    std::wstring_view prefix;
    std::size_t name;    ///< the number of its name
    std::size_t hidden;  ///< the outer declaration of the prefix, or `kNone`
  };

  enum class EntityKind { kInternal, kExternal, kUnparsed };

  static constexpr std::size_t kNone = std::wstring_view::npos;

  void Report(StrictRule rule, std::size_t offset, std::size_t length,
              std::wstring_view subject = {}, std::wstring fix = {}) {
    if (faults_.size() == kMaxFaults) return;
    if (subject.data() == nullptr) subject = text_.substr(offset, length);
    faults_.push_back({rule, offset, length, subject, std::move(fix)});
  }

  void ReportPart(StrictRule rule, std::wstring_view part) {
    Report(rule, OffsetOf(part), part.size());
  }

  std::size_t OffsetOf(std::wstring_view part) const {
    return static_cast<std::size_t>(part.data() - text_.data());
  }

  bool HasAt(std::size_t at, std::wstring_view expected) const {
    return text_.substr(at, expected.size()) == expected;
  }

  std::wstring_view Between(std::size_t begin, std::size_t end) const {
    return text_.substr(begin, end - begin);
  }

  /// Finds the closing of the markup at `at_` from `from` on; moves after it. Returns where the
  /// closing begins. Without one, reports that, moves to the end, and returns `kNone`.
  std::size_t FindClosing(std::size_t from, std::wstring_view closing) {
    const std::size_t found = from > text_.size() ? kNone : text_.find(closing, from);
    if (found == kNone) {
      ReportIncomplete(at_, std::wstring(closing));
    } else {
      at_ = found + closing.size();
    }
    return found;
  }

  /// Everything up to the end is inside the markup, so that the rest cannot be checked.
  void ReportIncomplete(std::size_t markup, std::wstring closing = L">") {
    Report(StrictRule::kIncompleteMarkup, markup, text_.size() - markup, {}, std::move(closing));
    isCut_ = true;
    at_ = text_.size();
  }

  // --- Text and references ---

  void CheckText(std::size_t at, std::size_t end) {
    if (!elements_.empty()) return CheckRun(at, end, RunKind::kText);
    at = std::min(SkipSpace(text_, at), end);
    while (end > at && IsWhiteSpace(text_[end - 1])) --end;
    if (at < end && !isAfterInvalid_) Report(StrictRule::kTextOutsideRoot, at, end - at);
  }

  void CheckRun(std::size_t at, std::size_t end, RunKind kind) {
    constexpr UnitSet kChecked(L"&<%");
    while (at < end) {
      const wchar_t unit = text_[at];
      if (unit >= L' ' && unit < 0xD800 && unit != L']' && !kChecked.Has(unit)) {
        ++at;
        continue;
      }
      if (kind != RunKind::kVerbatim) CheckDelimiter(at, end, kind);
      std::wstring_view rest = Between(at, std::min(end, at + 2));
      const std::size_t available = rest.size();
      const bool isValid = IsCharacter(TakeCode(&rest));
      // The characters of an entity's text are checked with its declaration.
      if (!isValid && kind != RunKind::kEntityText) Report(StrictRule::kInvalidCharacter, at, 1);
      at += available - rest.size();
    }
  }

  /// Checks what is special in some runs, at `at` in a run up to `end`.
  void CheckDelimiter(std::size_t at, std::size_t end, RunKind kind) {
    const wchar_t unit = text_[at];
    if (unit == L'&') {
      CheckReference(at, end, kind);
    } else if (unit == L']' && kind == RunKind::kText && HasAt(at, L"]]>")) {
      Report(StrictRule::kCDataEndInText, at, 3);
    } else if (unit == L'<' && kind == RunKind::kValue) {
      Report(StrictRule::kLessThanInValue, at, 1);
    } else if (unit == L'%' && kind == RunKind::kEntityText) {
      Report(StrictRule::kInvalidReference, at, 1);
    }
  }

  /// Checks the reference that begins at `at`, in a run up to `end`.
  void CheckReference(std::size_t at, std::size_t end, RunKind kind) {
    const std::wstring_view run = Between(at + 1, end);
    const std::size_t close = FindAny(run, L"; \t\r\n<&\"'");
    const bool isClosed = close < run.size() && run[close] == L';';
    const std::wstring_view name = isClosed ? run.substr(0, close) : std::wstring_view();
    if (name.starts_with(L'#')) {
      CheckNumber(at, name.substr(1));
    } else if (!IsSimpleName(name)) {
      Report(StrictRule::kBareAmpersand, at, 1);
    } else if (kind != RunKind::kEntityText) {
      CheckEntity(at, name, kind);
    }
  }

  /// Checks a reference to a number, of which the part after `&#` is given.
  void CheckNumber(std::size_t at, std::wstring_view digits) {
    const std::size_t length = digits.size() + 3;
    const std::uint32_t base = digits.starts_with(L'x') ? 16 : 10;
    if (base == 16) digits.remove_prefix(1);
    std::uint32_t code = 0;
    bool isNumber = !digits.empty();
    for (const wchar_t unit : digits) {
      const wchar_t lower = ToLowerAscii(unit);
      const bool isHex = base == 16 && lower >= L'a' && lower <= L'f';
      isNumber = isNumber && (IsDigit(unit) || isHex);
      const auto digit = static_cast<std::uint32_t>(isHex ? lower - L'a' + 10 : unit - L'0');
      constexpr std::uint32_t kBeyond = 0x110000;
      code = std::min(code * base + (digit & 0xF), kBeyond);
    }
    if (!isNumber) return Report(StrictRule::kBareAmpersand, at, 1);
    if (!IsCharacter(code)) Report(StrictRule::kInvalidReference, at, length);
  }

  void CheckEntity(std::size_t at, std::wstring_view name, RunKind kind) {
    const std::size_t length = name.size() + 2;
    const auto found = entities_.find(name);
    if (found != entities_.end()) {
      const bool isPossible = found->second == EntityKind::kInternal ||
                              (found->second == EntityKind::kExternal && kind == RunKind::kText);
      if (!isPossible) Report(StrictRule::kInvalidReference, at, length);
    } else if (isStandalone_ || !hasOtherDeclarations_) {
      Report(StrictRule::kUndeclaredEntity, at, length, {}, FixOfEntity(name));
    }
  }

  /// The number of the character that an entity of HTML stands for; empty for other entities. A
  /// name in another letter case is looked up as `CMarkup` does.
  static std::wstring FixOfEntity(std::wstring_view name) {
    constexpr std::size_t kMaxName = 8;
    if (name.size() > kMaxName) return {};
    int code = FindExactEntity(name);
    if (code < 0) {
      std::wstring lower(name);
      for (wchar_t& unit : lower) unit = ToLowerAscii(unit);
      code = FindEntity(lower);
    }
    return code < 0 ? L"" : Format(L"&#%d;", code);
  }

  // --- Markup ---

  void CheckMarkup() {
    isAfterInvalid_ = false;
    const wchar_t next = at_ + 1 < text_.size() ? text_[at_ + 1] : L'\0';
    if (HasAt(at_, L"<!--")) {
      CheckComment();
    } else if (HasAt(at_, L"<![CDATA[")) {
      CheckCData();
    } else if (HasAt(at_, L"<!DOCTYPE")) {
      CheckDoctype();
    } else if (next == L'?') {
      CheckInstruction();
    } else if (next == L'/') {
      CheckEndTag();
    } else if (IsNameStart(next)) {
      CheckStartTag();
    } else {
      CheckInvalidMarkup(next);
    }
  }

  void CheckInvalidMarkup(wchar_t next) {
    constexpr std::wstring_view kOpenings[] = {L"<!--", L"<![CDATA[", L"<!DOCTYPE"};
    const std::wstring_view rest = text_.substr(at_);
    const bool isCut = std::ranges::any_of(
        kOpenings, [rest](std::wstring_view opening) { return opening.starts_with(rest); });
    if (isCut) return ReportIncomplete(at_);
    const bool isExclamation = next == L'!';
    Report(StrictRule::kInvalidMarkup, at_, isExclamation ? 2 : 1, {},
           isExclamation ? L"&lt;!" : L"");
    isAfterInvalid_ = true;
    ++at_;
  }

  void CheckComment() {
    constexpr std::size_t kOpening = 4;
    const std::size_t content = at_ + kOpening;
    const std::size_t end = FindClosing(content, L"-->");
    if (end == kNone) return;
    // The third hyphen of "--->" makes two with the second one.
    const std::wstring_view run = text_.substr(0, end + 1);
    for (std::size_t found = content; (found = run.find(L"--", found)) != kNone; found += 2) {
      Report(StrictRule::kHyphensInComment, found, 2);
    }
    CheckRun(content, end, RunKind::kVerbatim);
  }

  void CheckCData() {
    constexpr std::size_t kOpening = 9;
    const std::size_t begin = at_;
    const std::size_t end = FindClosing(begin + kOpening, L"]]>");
    if (end == kNone) return;
    if (elements_.empty()) Report(StrictRule::kTextOutsideRoot, begin, at_ - begin);
    CheckRun(begin, end, RunKind::kVerbatim);
  }

  void CheckInstruction() {
    const std::size_t begin = at_;
    const std::size_t end = FindClosing(begin + 2, L"?>");
    if (end == kNone) return;
    CheckRun(begin, end, RunKind::kVerbatim);
    const std::wstring_view content = Between(begin + 2, end);
    const std::wstring_view target = content.substr(0, FindAny(content, kSpaces));
    constexpr std::wstring_view kXml = L"xml";
    if (target.size() != kXml.size() || CommonPrefix(kXml, target.data(), true) != kXml.size()) {
      if (!IsSimpleName(target)) Report(StrictRule::kInvalidName, begin, target.size() + 2, target);
    } else if (begin != start_) {
      Report(StrictRule::kMisplacedDeclaration, begin, at_ - begin);
    } else if (target != kXml || !IsDeclaration(content.substr(target.size()), &isStandalone_)) {
      Report(StrictRule::kInvalidDeclaration, begin, at_ - begin);
    }
  }

  // --- The document type ---

  void CheckDoctype() {
    const std::size_t begin = at_;
    const bool isMisplaced = hasDoctype_ || hasRoot_;
    hasDoctype_ = true;
    if (!CheckDoctypeHead() || !CheckSubset(begin)) return;
    if (text_[at_] != L'>') {
      Report(StrictRule::kInvalidDoctype, at_, 1);
      at_ = FindAny(text_, L"<>", at_);
    }
    if (at_ < text_.size() && text_[at_] == L'>') ++at_;
    if (isMisplaced) Report(StrictRule::kMisplacedDoctype, begin, at_ - begin);
  }

  /// Moves to the internal subset or the end of the declaration; false at the end of the text.
  bool CheckDoctypeHead() {
    constexpr std::size_t kOpening = 9;
    const std::size_t begin = at_;
    const std::size_t name = SkipSpace(text_, begin + kOpening);
    const std::size_t nameEnd = FindAny(text_, L" \t\r\n[>\"'<", name);
    bool isValid = name > begin + kOpening && IsQualifiedName(Between(name, nameEnd));
    std::wstring_view rest = text_.substr(SkipSpace(text_, nameEnd));
    if (HasIdentifier(rest)) {
      hasOtherDeclarations_ = true;
      isValid = TakeIdentifier(&rest) && isValid;
    }
    at_ = SkipSpace(text_, OffsetOf(rest));
    CheckRun(begin, at_, RunKind::kVerbatim);
    if (!isValid) Report(StrictRule::kInvalidDoctype, begin, kOpening);
    if (at_ == text_.size()) ReportIncomplete(begin);
    return !isCut_;
  }

  /// Moves after the internal subset, if there is one; false at the end of the text.
  bool CheckSubset(std::size_t doctype) {
    if (text_[at_] != L'[') return true;
    ++at_;
    for (at_ = SkipSpace(text_, at_); at_ < text_.size(); at_ = SkipSpace(text_, at_)) {
      if (text_[at_] == L']') {
        at_ = SkipSpace(text_, at_ + 1);
        break;
      }
      if (HasAt(at_, L"<!--")) {
        CheckComment();
      } else if (HasAt(at_, L"<?")) {
        CheckInstruction();
      } else if (text_[at_] == L'%') {
        CheckParameterReference();
      } else {
        CheckDeclaration();
      }
      if (isCut_) return false;
    }
    if (at_ < text_.size()) return true;
    ReportIncomplete(doctype);
    return false;
  }

  void CheckParameterReference() {
    const std::size_t end = FindAny(text_, L"; \t\r\n<>]", at_);
    hasOtherDeclarations_ = true;
    const bool isValid =
        end < text_.size() && text_[end] == L';' && IsSimpleName(Between(at_ + 1, end));
    if (!isValid) Report(StrictRule::kInvalidDoctype, at_, end - at_);
    at_ = isValid ? end + 1 : end;
  }

  void CheckDeclaration() {
    constexpr std::wstring_view kKeywords[] = {L"<!ENTITY", L"<!ATTLIST", L"<!ELEMENT",
                                               L"<!NOTATION"};
    const std::size_t begin = at_;
    const auto* const keyword =
        std::ranges::find_if(kKeywords, [&](std::wstring_view word) { return HasAt(begin, word); });
    if (keyword == std::end(kKeywords)) {
      at_ = FindAny(text_, L"<]", begin + 1);
      return Report(StrictRule::kInvalidDoctype, begin, 1);
    }
    std::size_t end = FindAny(text_, L"<>\"'", begin + 1);
    while (end < text_.size() && IsQuote(text_[end])) {
      const std::size_t close = text_.find(text_[end], end + 1);
      end = close == kNone ? text_.size() : FindAny(text_, L"<>\"'", close + 1);
    }
    if (end == text_.size()) return ReportIncomplete(begin);
    CheckRun(begin, end, RunKind::kVerbatim);
    const std::wstring_view content = Between(begin + keyword->size(), end);
    const bool isValid = text_[end] == L'>' && SkipSpace(content) > 0 &&
                         (keyword != &kKeywords[0] || DeclareEntity(content));
    if (!isValid) Report(StrictRule::kInvalidDoctype, begin, end - begin);
    if (keyword == &kKeywords[1]) DeclareDefaults(content);
    at_ = text_[end] == L'>' ? end + 1 : end;
  }

  /// Notes the entity of a declaration, of which the part after the keyword is given; false if the
  /// declaration is invalid.
  bool DeclareEntity(std::wstring_view content) {
    content.remove_prefix(SkipSpace(content));
    // Without white space after it, the `%` is part of the name, which is then invalid.
    const std::size_t percent = content.starts_with(L'%') && SkipSpace(content, 1) > 1 ? 1 : 0;
    content.remove_prefix(SkipSpace(content, percent));
    const std::wstring_view name = content.substr(0, FindAny(content, L" \t\r\n\"'"));
    content.remove_prefix(name.size());
    EntityKind kind = EntityKind::kInternal;
    const std::wstring_view text = TakeLiteral(&content);
    if (text.data() != nullptr) {
      CheckRun(OffsetOf(text), OffsetOf(text) + text.size(), RunKind::kEntityText);
    } else {
      content.remove_prefix(SkipSpace(content));
      if (!HasIdentifier(content) || !TakeIdentifier(&content)) return false;
      kind = percent == 0 && TakeFormat(&content) ? EntityKind::kUnparsed : EntityKind::kExternal;
    }
    // The first declaration of a name counts.
    if (percent == 0) entities_.try_emplace(name, kind);
    return IsSimpleName(name) && SkipSpace(content) == content.size();
  }

  /// Notes the namespaces that a declaration of attributes declares as defaults. They count in the
  /// whole document.
  void DeclareDefaults(std::wstring_view content) {
    constexpr std::wstring_view kDeclaration = L"xmlns:";
    for (std::size_t at = 0; (at = content.find(kDeclaration, at)) != content.npos;) {
      at += kDeclaration.size();
      const std::size_t end = FindAny(content, kSpaces, at);
      const std::size_t quote = FindAny(content, L"\"'", end);
      if (quote == content.size()) return;
      const std::size_t close = FindAny(content, content.substr(quote, 1), quote + 1);
      Declare(content.substr(at, end - at), Decoded(content.substr(quote + 1, close - quote - 1)));
      at = close;
    }
  }

  // --- Tags ---

  void CheckEndTag() {
    const std::size_t begin = at_;
    const std::size_t close = FindAny(text_, L"<>", begin + 2);
    if (close == text_.size()) return ReportIncomplete(begin);
    const std::wstring_view content = Between(begin + 2, close);
    const std::wstring_view name = content.substr(0, FindAny(content, L" \t\r\n/"));
    const std::wstring_view rest = content.substr(SkipSpace(content, name.size()));
    if (!rest.empty()) ReportPart(StrictRule::kTextInEndTag, rest);
    const bool isEnded = text_[close] == L'>';
    if (!isEnded) Report(StrictRule::kLessThanInTag, close, 1);
    at_ = isEnded ? close + 1 : close;
    CloseElement(begin, name);
  }

  void CloseElement(std::size_t tag, std::wstring_view name) {
    if (!openNames_.contains(name)) return ReportUnmatched(tag, name);
    for (; elements_.back().name != name; PopElement()) ReportUnclosed(elements_.back());
    // The element has its own end tag, so that an unmatched one is not meant for it.
    const std::size_t correction = elements_.back().correction;
    if (correction != kNone) faults_[correction].fix.clear();
    PopElement();
  }

  void ReportUnmatched(std::size_t tag, std::wstring_view name) {
    const auto open = std::find_if(elements_.rbegin(), elements_.rend(),
                                   [](const OpenElement& element) { return !element.isReported; });
    std::wstring fix;
    if (open != elements_.rend()) {
      fix = L"</" + std::wstring(open->name) + L">";
      open->correction = faults_.size() < kMaxFaults ? faults_.size() : kNone;
      open->isReported = true;
    }
    Report(StrictRule::kUnmatchedEndTag, tag, at_ - tag, name, std::move(fix));
  }

  void ReportUnclosed(const OpenElement& element) {
    if (element.isReported) return;
    Report(StrictRule::kUnclosedElement, OffsetOf(element.name) - 1, element.name.size() + 1,
           element.name);
  }

  void PopElement() {
    Undeclare(elements_.back().outerDeclarations);
    const auto found = openNames_.find(elements_.back().name);
    if (--found->second == 0) openNames_.erase(found);
    elements_.pop_back();
  }

  void CheckStartTag() {
    const std::size_t begin = at_;
    const std::wstring_view name = Between(begin + 1, FindAny(text_, L" \t\r\n/><", begin + 1));
    if (elements_.empty() && hasRoot_ && !hasSecondRoot_) {
      hasSecondRoot_ = true;
      Report(StrictRule::kSecondRoot, begin, name.size() + 1);
    }
    hasRoot_ = true;
    const std::size_t outerDeclarations = namespaces_.size();
    const TagEnd end = CheckAttributes(begin, begin + 1 + name.size());
    if (end == TagEnd::kCut) return;
    CheckName(name);
    if (PrefixOf(name) == kXmlns) {
      Report(StrictRule::kUndeclaredPrefix, begin + 1, kXmlns.size(), {}, L"another prefix");
    }
    for (const std::wstring_view attribute : attributes_) CheckName(attribute);
    CheckDuplicates();
    if (end == TagEnd::kEmpty) return Undeclare(outerDeclarations);
    elements_.push_back({name, outerDeclarations, kNone, end == TagEnd::kLessThan});
    ++openNames_[name];
  }

  /// What ends a start tag: `>`, `/>`, the `<` of the next markup, or the end of the text.
  enum class TagEnd { kOpen, kEmpty, kLessThan, kCut };

  /// Checks the attributes of the tag at `tag`, from `at` on, and moves after it.
  TagEnd CheckAttributes(std::size_t tag, std::size_t at) {
    const std::size_t earlierFaults = faults_.size();
    attributes_.clear();
    while (!isCut_) {
      const std::size_t space = at;
      at = SkipSpace(text_, at);
      if (at == text_.size()) {
        ReportIncomplete(tag);
        break;
      }
      if (text_[at] == L'>' || HasAt(at, L"/>")) {
        const bool isEmpty = text_[at] == L'/';
        at_ = at + (isEmpty ? 2 : 1);
        return isEmpty ? TagEnd::kEmpty : TagEnd::kOpen;
      }
      if (text_[at] == L'<') {
        // Probably not a tag, so that faults of its attributes mean nothing.
        faults_.erase(faults_.begin() + static_cast<std::ptrdiff_t>(earlierFaults), faults_.end());
        Report(StrictRule::kLessThanInTag, at, 1);
        at_ = at;
        return TagEnd::kLessThan;
      }
      const std::size_t close = text_[at] == L'/' ? SkipSpace(text_, at + 1) : at;
      if (close > at && close < text_.size() && text_[close] == L'>') {
        Report(StrictRule::kInvalidName, at, close + 1 - at, {}, L"/>");
        at_ = close + 1;
        return TagEnd::kEmpty;
      }
      // A stray `/` is already reported.
      if (at == space && text_[at] != L'/' && text_[at - 1] != L'/') {
        Report(StrictRule::kMissingSpace, at, 1);
      }
      at = CheckAttribute(at);
    }
    return TagEnd::kCut;
  }

  /// Checks an attribute; returns its end.
  std::size_t CheckAttribute(std::size_t name) {
    const std::size_t nameEnd = FindAny(text_, L" \t\r\n=/>\"'<", name);
    if (nameEnd == name) {
      Report(StrictRule::kInvalidName, name, 1);
      return name + 1;
    }
    const std::wstring_view attribute = Between(name, nameEnd);
    attributes_.push_back(attribute);
    const std::size_t equals = SkipSpace(text_, nameEnd);
    if (equals == text_.size() || text_[equals] != L'=') {
      ReportPart(StrictRule::kMissingValue, attribute);
      return nameEnd;
    }
    return CheckValue(attribute, SkipSpace(text_, equals + 1));
  }

  /// Checks the value of an attribute; returns its end.
  std::size_t CheckValue(std::wstring_view attribute, std::size_t value) {
    if (value == text_.size() || !IsQuote(text_[value])) {
      std::size_t end = FindAny(text_, L" \t\r\n><", value);
      if (end > value && end < text_.size() && text_[end] == L'>' && text_[end - 1] == L'/') --end;
      const bool isThere = end > value;
      ReportPart(isThere ? StrictRule::kUnquotedValue : StrictRule::kMissingValue,
                 isThere ? Between(value, end) : attribute);
      return end;
    }
    const std::size_t end = text_.find(text_[value], value + 1);
    if (end == kNone) {
      ReportIncomplete(value, std::wstring(1, text_[value]));
      return text_.size();
    }
    CheckRun(value + 1, end, RunKind::kValue);
    if (attribute == kXmlns || PrefixOf(attribute) == kXmlns) {
      CheckNamespace(attribute, Between(value + 1, end));
    }
    return end + 1;
  }

  /// An attribute as namespaces see it.
  struct QualifiedName {
    std::wstring_view local;
    std::size_t space;  ///< the number of the namespace, or `kNone`
    std::wstring_view whole;
  };

  void CheckDuplicates() {
    if (attributes_.size() < 2) return;
    qualified_.clear();
    for (const std::wstring_view name : attributes_) {
      const std::wstring_view prefix = PrefixOf(name);
      const auto found = prefix.empty() ? prefixes_.end() : prefixes_.find(prefix);
      const bool isDeclared = found != prefixes_.end();
      // An undeclared prefix is a part of the name.
      qualified_.push_back(isDeclared ? QualifiedName{name.substr(prefix.size() + 1),
                                                      namespaces_[found->second].name, name}
                                      : QualifiedName{name, kNone, name});
    }
    std::ranges::sort(qualified_, [](const QualifiedName& a, const QualifiedName& b) {
      if (a.local != b.local) return a.local < b.local;
      return a.space != b.space ? a.space < b.space : a.whole.data() < b.whole.data();
    });
    for (std::size_t i = 1; i < qualified_.size(); ++i) {
      const QualifiedName& last = qualified_[i - 1];
      if (qualified_[i].local == last.local && qualified_[i].space == last.space) {
        ReportPart(StrictRule::kDuplicateAttribute, qualified_[i].whole);
      }
    }
  }

  void CheckName(std::wstring_view name) {
    if (!IsQualifiedName(name)) return ReportPart(StrictRule::kInvalidName, name);
    const std::wstring_view prefix = PrefixOf(name);
    const bool isDeclared =
        prefix.empty() || prefix == L"xml" || prefix == kXmlns || prefixes_.contains(prefix);
    if (!isDeclared) ReportPart(StrictRule::kUndeclaredPrefix, prefix);
  }

  // --- Namespaces ---

  /// Checks an attribute that declares a namespace, and notes its prefix.
  void CheckNamespace(std::wstring_view attribute, std::wstring_view name) {
    constexpr std::wstring_view kXmlName = L"http://www.w3.org/XML/1998/namespace";
    constexpr std::wstring_view kXmlnsName = L"http://www.w3.org/2000/xmlns/";
    name = Decoded(name);
    const bool isDefault = PrefixOf(attribute).empty();
    const std::wstring_view prefix = isDefault ? L"" : attribute.substr(attribute.find(L':') + 1);
    const bool isReserved =
        prefix == kXmlns || name == kXmlnsName || (prefix == L"xml") != (name == kXmlName);
    if (isReserved || (!isDefault && name.empty())) {
      ReportPart(StrictRule::kInvalidNamespace, attribute);
    }
    if (!isDefault) Declare(prefix, name);
  }

  /// The name of a namespace without references: names that differ only in references to
  /// characters are equal.
  std::wstring_view Decoded(std::wstring_view name) {
    if (name.find(L'&') == name.npos) return name;
    return decodedNames_.emplace_back(UnescapeText(name, 0));
  }

  void Declare(std::wstring_view prefix, std::wstring_view name) {
    const std::size_t number = names_.try_emplace(name, names_.size()).first->second;
    const auto [entry, isNew] = prefixes_.try_emplace(prefix, kNone);
    namespaces_.push_back({prefix, number, entry->second});
    entry->second = namespaces_.size() - 1;
  }

  /// Ends the scope of all but the first `count` declarations.
  void Undeclare(std::size_t count) {
    for (; namespaces_.size() > count; namespaces_.pop_back()) {
      const Namespace& last = namespaces_.back();
      if (last.hidden == kNone) {
        prefixes_.erase(last.prefix);
      } else {
        prefixes_[last.prefix] = last.hidden;
      }
    }
  }

  // --- Result ---

  void CheckEnd() {
    if (isCut_ || faults_.size() == kMaxFaults) return;
    for (const OpenElement& element : elements_) ReportUnclosed(element);
    // Invalid markup may be the root element.
    const bool hasInvalidMarkup =
        std::ranges::find(faults_, StrictRule::kInvalidMarkup, &RawFault::rule) != faults_.end();
    if (hasRoot_ || hasInvalidMarkup) return;
    std::erase_if(faults_,
                  [](const RawFault& fault) { return fault.rule == StrictRule::kTextOutsideRoot; });
    Report(StrictRule::kNoRoot, start_, 0);
  }

  static std::wstring Clip(std::wstring_view part) {
    constexpr std::size_t kMaxShown = 60;
    return std::wstring(part.substr(0, kMaxShown)) + (part.size() > kMaxShown ? L"..." : L"");
  }

  std::vector<StrictFault> Describe() {
    if (faults_.empty()) return {};
    std::ranges::stable_sort(faults_, {}, [](const RawFault& fault) {
      return std::pair(std::max(fault.rule, StrictRule::kInvalidNamespace), fault.offset);
    });
    const LineIndex lines(text_);
    std::vector<StrictFault> described;
    for (RawFault& fault : faults_) {
      const StrictText& texts = kStrictTexts[static_cast<std::size_t>(fault.rule)];
      const std::wstring subject = Clip(fault.subject);
      const int offset = static_cast<int>(fault.offset);
      if (fault.fix.empty()) fault.fix = FillIn(texts.fix, fault.subject);
      described.push_back({fault.rule, offset, static_cast<int>(fault.length), lines.Find(offset),
                           FillIn(texts.text, subject), texts.allowed, std::move(fault.fix)});
    }
    return described;
  }

  std::wstring_view text_;
  std::size_t start_ = 0;  ///< after a byte-order mark
  std::size_t at_ = 0;
  std::vector<RawFault> faults_;
  bool isCut_ = false;           ///< markup has no end, so that the check ended
  bool isAfterInvalid_ = false;  ///< the next text begins inside invalid markup

  bool isStandalone_ = false;
  bool hasDoctype_ = false;
  bool hasRoot_ = false;
  bool hasSecondRoot_ = false;
  bool hasOtherDeclarations_ = false;  ///< perhaps, in other files or parameter entities
  std::unordered_map<std::wstring_view, EntityKind> entities_{{L"amp", EntityKind::kInternal},
                                                              {L"lt", EntityKind::kInternal},
                                                              {L"gt", EntityKind::kInternal},
                                                              {L"quot", EntityKind::kInternal},
                                                              {L"apos", EntityKind::kInternal}};

  std::vector<OpenElement> elements_;  ///< from the outside in
  std::unordered_map<std::wstring_view, int> openNames_;
  std::vector<std::wstring_view> attributes_;  ///< the names in the current tag
  std::vector<QualifiedName> qualified_;
  std::vector<Namespace> namespaces_;                            ///< from the outside in
  std::unordered_map<std::wstring_view, std::size_t> prefixes_;  ///< the innermost of each
  std::unordered_map<std::wstring_view, std::size_t> names_;     ///< the numbers of their names
  std::deque<std::wstring> decodedNames_;                        ///< those with references
};

}  // namespace

std::vector<StrictFault> CheckStrict(std::wstring_view text) {
  constexpr std::size_t kMaxText = std::numeric_limits<int>::max();
  return StrictChecker(text.substr(0, kMaxText)).Run();
}

}  // namespace orv
