#include "tools/orv/report/redact.h"

#include <algorithm>
#include <iterator>

#include "platform/letter_case.h"
#include "tools/orv/common/input.h"

namespace orv::tool {
namespace {

constexpr const wchar_t* kWords[Redactor::kKindCount] = {L"USER-", L"COMPUTER-", L"DOCUMENT-"};

/// The folders whose sub-folders are named after users.
constexpr std::wstring_view kUserFolders[] = {L"users", L"home", L"documents and settings"};
/// Users of every system.
constexpr std::wstring_view kSystemUsers[] = {L"public", L"default", L"all users", L"default user",
                                              L"systemprofile"};

/// The endings of files that people name. Programs, configurations and logs are not among them.
constexpr std::wstring_view kDocumentEndings[] = {
    L"doc", L"docx", L"xls",  L"xlsx", L"csv", L"ppt", L"pptx", L"odt", L"ods", L"odp",
    L"rtf", L"txt",  L"pdf",  L"xps",  L"lbl", L"nlb", L"btw",  L"png", L"jpg", L"jpeg",
    L"bmp", L"tif",  L"tiff", L"gif",  L"svg", L"prn", L"spl",  L"shd", L"dev"};

/// What precedes a name that is not in a path.
constexpr struct {
  std::wstring_view word;
  Redactor::Kind kind;
} kLabels[] = {{L"user", Redactor::kUser},        {L"username", Redactor::kUser},
               {L"owner", Redactor::kUser},       {L"computer", Redactor::kComputer},
               {L"machine", Redactor::kComputer}, {L"host", Redactor::kComputer},
               {L"server", Redactor::kComputer},  {L"document", Redactor::kDocument},
               {L"title", Redactor::kDocument},   {L"job", Redactor::kDocument}};

bool IsSeparator(wchar_t unit) { return unit == L'\\' || unit == L'/'; }

/// Whether a unit can be within a word: letters of all scripts and digits.
bool IsWord(wchar_t unit) {
  return (unit >= L'0' && unit <= L'9') || (unit >= L'a' && unit <= L'z') ||
         (unit >= L'A' && unit <= L'Z') || unit == L'_' || unit >= 0x80;
}

/// Whether a unit can be within the name of a computer.
bool IsHostUnit(wchar_t unit) { return IsWord(unit) || unit == L'-' || unit == L'.'; }

/// Whether a unit can be within the first part of an address.
bool IsUserUnit(wchar_t unit) { return IsHostUnit(unit) || unit == L'+' || unit == L'%'; }

/// Digits alone, such as an error code, which the report needs in other places.
bool IsNumber(std::wstring_view name) {
  return std::ranges::all_of(name, [](wchar_t unit) { return unit >= L'0' && unit <= L'9'; });
}

/// Whether a text begins like a full path.
bool IsRooted(std::wstring_view text) {
  return IsSeparator(text[0]) || (text.size() > 2 && text[1] == L':' && IsSeparator(text[2]));
}

/// Whether a unit ends a path. A blank does not: file names have blanks, and apostrophes.
bool IsPathEnd(std::wstring_view text, std::size_t at) {
  constexpr std::wstring_view kEnds = L"\"'<>|*?\t\r\n";
  if (text[at] == L'\'') return at == 0 || !IsWord(text[at - 1]);
  return kEnds.find(text[at]) != kEnds.npos;
}

std::wstring_view EndingOf(std::wstring_view name) {
  const std::size_t point = name.rfind(L'.');
  return point == name.npos ? std::wstring_view() : name.substr(point + 1);
}

bool IsDocument(std::wstring_view name) {
  const std::wstring ending = LowerCase(std::wstring(EndingOf(name)));
  return std::ranges::find(kDocumentEndings, ending) != std::end(kDocumentEndings);
}

/// The name of the document that a text of a path begins with, up to its ending; empty if it is not
/// the name of a document.
std::wstring DocumentAt(std::wstring_view text) {
  for (std::size_t point = text.find(L'.'); point != text.npos;
       point = text.find(L'.', point + 1)) {
    std::size_t end = point + 1;
    while (end < text.size() && IsWord(text[end])) ++end;
    if (IsDocument(text.substr(point, end - point))) return std::wstring(text.substr(0, end));
  }
  return {};
}

/// A word without capitals, digits or blanks, such as "label", which is not only a name.
bool IsOrdinary(std::wstring_view name) {
  return std::ranges::all_of(name, [](wchar_t unit) { return unit >= L'a' && unit <= L'z'; });
}

/// Whether a part of a path, in a folder of this name, is that of a user.
bool IsUser(const std::wstring& folder, std::wstring_view part) {
  return std::ranges::find(kUserFolders, folder) != std::end(kUserFolders) &&
         std::ranges::find(kSystemUsers, LowerCase(std::wstring(part))) == std::end(kSystemUsers);
}

/// The length of a text in quotes that begins at a place of a text; 0 if none does. An apostrophe
/// within a word is not a quote.
std::size_t QuotedLength(std::wstring_view text, std::size_t at) {
  const bool isQuote =
      text[at] == L'"' || (text[at] == L'\'' && (at == 0 || !IsWord(text[at - 1])));
  const std::size_t end = isQuote ? text.find(text[at], at + 1) : text.npos;
  return end == text.npos ? 0 : end + 1 - at;
}

/// The name after a label that ends at a place of a text: in quotes, or a word after a colon or an
/// equals sign; otherwise empty.
std::wstring_view LabelledName(std::wstring_view text, std::wstring_view lowerCase,
                               std::size_t end) {
  constexpr std::wstring_view kName = L" name";
  if (lowerCase.substr(end).starts_with(kName)) end += kName.size();
  std::size_t at = text.find_first_not_of(L' ', end);
  if (at == text.npos) return {};
  const bool isMarked = text[at] == L':' || text[at] == L'=';
  if (isMarked) at = text.find_first_not_of(L' ', at + 1);
  if (at == text.npos || at == end) return {};
  if (const std::size_t length = QuotedLength(text, at)) return text.substr(at + 1, length - 2);
  return isMarked ? text.substr(at, text.find_first_of(L" ,;)\t\r\n", at) - at)
                  : std::wstring_view();
}

}  // namespace

void Redactor::Add(Kind kind, std::wstring_view name, std::wstring_view ending) {
  std::wstring lowerCase = LowerCase(std::wstring(name));
  if (lowerCase.empty() || std::ranges::find(names_, lowerCase, &Name::lowerCase) != names_.end())
    return;
  const std::size_t length = lowerCase.size();
  const auto at = std::ranges::find_if(
      names_, [&](const Name& other) { return other.lowerCase.size() < length; });
  names_.insert(at, {std::move(lowerCase), kind, std::wstring(ending), {}});
}

void Redactor::AddFile(std::wstring_view path) {
  const std::size_t separator = path.find_last_of(L"/\\");
  const std::wstring_view name = path.substr(separator == path.npos ? 0 : separator + 1);
  const std::size_t point = std::min(name.rfind(L'.'), name.size());
  const std::wstring_view stem = name.substr(0, point);
  if (stem.empty()) return;
  // An ordinary word is replaced only before its ending.
  const bool isOrdinary = IsOrdinary(stem) && point < name.size();
  Add(kDocument, isOrdinary ? name : stem, isOrdinary ? name.substr(point) : std::wstring_view());
}

void Redactor::Learn(std::wstring_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t quoted = QuotedLength(text, at);
    if (quoted > 0) {
      LearnPath(text.substr(at + 1, quoted - 2), true);
      at += quoted;
      continue;
    }
    std::size_t end = at + 1;
    while (end < text.size() && !IsPathEnd(text, end)) ++end;
    const std::wstring_view part = text.substr(at, end - at);
    LearnPath(part, part.size() == text.size() && IsRooted(part));
    at = end;
  }
  LearnAddresses(text);
  LearnLabelled(text);
}

void Redactor::LearnPath(std::wstring_view path, bool isWhole) {
  LearnComputers(path);
  std::size_t at = path.find_first_of(L"/\\");
  if (at == path.npos) {
    // Without a folder: in quotes the whole text, otherwise the last word before the ending.
    const std::wstring document = DocumentAt(path);
    const std::size_t blank = isWhole ? document.npos : document.find_last_of(L" =:(");
    if (!document.empty()) AddFile(std::wstring_view(document).substr(blank + 1));
    return;
  }
  std::wstring folder;
  while (at != path.npos) {
    const std::size_t end = path.find_first_of(L"/\\", at + 1);
    const std::wstring_view part = path.substr(at + 1, std::min(end, path.size()) - at - 1);
    if (IsUser(folder, part)) {
      // The path may end with the user's folder, and a text may follow.
      if (end == path.npos) Add(kUser, part.substr(0, part.find_first_of(L" ,;:)")));
      if (end != path.npos || isWhole) Add(kUser, part);
    }
    if (const std::wstring document = DocumentAt(part); !document.empty()) AddFile(document);
    folder = LowerCase(std::wstring(part));
    at = end;
  }
}

void Redactor::LearnComputers(std::wstring_view path) {
  // \\COMPUTER\...; the names of devices begin with ? or a point.
  constexpr std::wstring_view kStart = L"\\\\";
  for (std::size_t at = path.find(kStart); at != path.npos; at = path.find(kStart, at + 2)) {
    std::size_t end = at + kStart.size();
    while (end < path.size() && IsHostUnit(path[end])) ++end;
    const std::wstring_view name = path.substr(at + 2, end - at - 2);
    if (!name.starts_with(L'.')) Add(kComputer, name);
  }
}

void Redactor::LearnAddresses(std::wstring_view text) {
  for (std::size_t at = text.find(L'@'); at != text.npos; at = text.find(L'@', at + 1)) {
    std::size_t start = at;
    while (start > 0 && IsUserUnit(text[start - 1])) --start;
    std::size_t end = at + 1;
    while (end < text.size() && IsHostUnit(text[end])) ++end;
    while (text[end - 1] == L'.') --end;  // the end of a sentence
    const std::wstring_view user = text.substr(start, at - start);
    const std::wstring_view computer = text.substr(at + 1, end - at - 1);
    // Such as label@2x.png, and single letters, which are also drives.
    if (user.size() < 2 || computer.size() < 2 || IsDocument(computer)) continue;
    if (!IsNumber(user)) Add(kUser, user);
    if (!IsNumber(computer)) Add(kComputer, computer);
  }
}

void Redactor::LearnLabelled(std::wstring_view text) {
  const std::wstring lowerCase = LowerCase(std::wstring(text));
  for (const auto& [word, kind] : kLabels) {
    for (std::size_t at = lowerCase.find(word); at != lowerCase.npos;
         at = lowerCase.find(word, at + 1)) {
      if (at > 0 && IsWord(text[at - 1])) continue;
      const std::wstring_view name = LabelledName(text, lowerCase, at + word.size());
      if (IsNumber(name)) continue;
      if (kind == kDocument) {
        AddFile(name);
      } else {
        // Before the name of a user there can be that of a domain, or of the computer.
        const std::size_t separator = name.find_last_of(L'\\');
        if (separator != name.npos) {
          const std::wstring_view domain = Trim(name.substr(0, separator), L"\\");
          if (!IsNumber(domain)) Add(kComputer, domain);
        }
        Add(kind, name.substr(separator + 1));  // npos + 1 is 0
      }
    }
  }
}

Redactor::Name* Redactor::FindAt(std::wstring_view lowerCase, std::size_t at) {
  if (at > 0 && IsWord(lowerCase[at - 1])) return nullptr;
  for (Name& name : names_) {
    if (!lowerCase.substr(at).starts_with(name.lowerCase)) continue;
    const std::size_t end = at + name.lowerCase.size();
    if (end < lowerCase.size() && IsWord(lowerCase[end])) continue;
    return &name;
  }
  return nullptr;
}

std::wstring Redactor::Redacted(std::wstring_view text) {
  const std::wstring lowerCase = LowerCase(std::wstring(text));
  std::wstring redacted;
  for (std::size_t at = 0; at < text.size();) {
    if (Name* const name = FindAt(lowerCase, at)) {
      if (name->word.empty()) {
        name->word = kWords[name->kind] + std::to_wstring(++counts_[name->kind]) + name->ending;
      }
      redacted += name->word;
      at += name->lowerCase.size();
    } else {
      redacted += text[at++];
    }
  }
  return redacted;
}

}  // namespace orv::tool
