#include "xml/scanner.h"

#include <algorithm>
#include <string_view>

#include "orv/xml/markup.h"
#include "xml/names.h"
#include "xml/result.h"

namespace orv {
namespace {

/// Scans one node.
class NodeScanner {
 public:
  NodeScanner(const ScanCursor& scan, ScannedNode& node)
      : text_(scan.Text()), passed_(scan.passed), node_(node) {
    node_.isEmptyElement = false;
    node_.hitEnd = false;
  }

  void Scan(int start) {
    start_ = static_cast<std::size_t>(start);
    first_ = start_;
    node_.start = start;
    node_.state.start = start;
    node_.state.rest = Rest::kUnknown;
    node_.result.clear();
    if (start_ >= text_.size()) {
      node_.hitEnd = true;
      EndAt(kScanEnd, start_);
    } else if (text_[start_] != L'<') {
      ScanText(start_, true);
    } else if (start_ + 1 == text_.size()) {
      Unterminated(L"tag");
    } else if (IsNameStart(text_[start_ + 1])) {
      ScanStartTag(start_ + 2, {});
    } else {
      switch (text_[start_ + 1]) {
        case L'/':
          return EndAfter(L">", start_ + 2, kScanEndTag, L"end_tag");
        case L'?':
          return EndAfter(L"?>", start_ + 2, CMarkup::NODE_PROCESSING_INSTRUCTION,
                          L"processing_instruction");
        case L'!':
          return ScanDeclaration();
        default:
          return SyntaxError(L"first_tag_syntax", start_ + 1);
      }
    }
  }

  void Continue() {
    const ScanState state = node_.state;
    first_ = static_cast<std::size_t>(state.scanned);
    node_.result.resize(state.resultSize);
    switch (state.rest) {
      case Rest::kText:
        return ScanText(first_, state.type == CMarkup::NODE_WHITESPACE);
      case Rest::kStartTag:
        return ScanStartTag(first_, state.closing);
      case Rest::kDocumentType:
        return ScanDocumentType(first_, state);
      case Rest::kClosing:
        return EndAfter(state.closing, first_, state.type, state.typeName);
      case Rest::kUnknown:
        break;
    }
  }

 private:
  using Rest = ScanState::Rest;
  static constexpr std::size_t npos = std::wstring_view::npos;

  int Offset(std::int64_t place) const { return ToResultNumber(passed_ + place); }

  void EndAt(int type, std::size_t end) {
    node_.type = type;
    node_.length = static_cast<int>(end) - node_.start;
  }

  /// Ends the node after the next `closing`.
  void EndAfter(std::wstring_view closing, std::size_t from, int type, const wchar_t* typeName) {
    const std::size_t found = text_.find(closing, from);
    if (found != npos) return EndAt(type, found + closing.size());
    Suspend({.rest = Rest::kClosing, .type = type, .closing = closing, .typeName = typeName},
            BeforeClosing(closing, from));
    Unterminated(typeName);
  }

  /// Where the search for `closing` that began at `from` continues when there is more text.
  std::size_t BeforeClosing(std::wstring_view closing, std::size_t from) const {
    return std::max(from, text_.size() - std::min(text_.size(), closing.size() - 1));
  }

  /// Records how the scan continues at `scanned`.
  void Suspend(const ScanState& state, std::size_t scanned) {
    const std::int64_t start = node_.state.start;
    node_.state = state;
    node_.state.start = start;
    node_.state.scanned = static_cast<int>(scanned);
    node_.state.resultSize = node_.result.size();
  }

  /// Ends the node with an error: the text ends inside a construct.
  void Unterminated(const wchar_t* typeName) {
    node_.hitEnd = true;
    AddResult(node_.result, L"unterminated_tag_syntax", typeName, kResultType,
              Offset(node_.state.start));
    EndAt(kScanError, text_.size());
  }

  /// Ends the node with a syntax error at `wrong`. The node extends to the next `>` from there.
  void SyntaxError(const wchar_t* entry, std::size_t wrong) {
    AddResult(node_.result, entry, nullptr, 0, Offset(node_.start));
    EndAfter(L">", wrong, kScanError, L"tag");
  }

  void ScanText(std::size_t from, bool isBlank) {
    std::size_t end = from;
    if (isBlank) {
      while (end < text_.size() && IsWhiteSpace(text_[end])) ++end;
      isBlank = end == text_.size() || text_[end] == L'<';
    }
    end = std::min(text_.find(L'<', end), text_.size());
    const int type = isBlank ? CMarkup::NODE_WHITESPACE : CMarkup::NODE_TEXT;
    node_.hitEnd = end == text_.size();
    if (node_.hitEnd) Suspend({.rest = Rest::kText, .type = type}, end);
    EndAt(type, end);
  }

  /// Scans a tag from inside its name, a value or the space between; `quote` ends a value.
  void ScanStartTag(std::size_t i, std::wstring_view quote) {
    for (;; ++i) {
      if (!quote.empty()) {
        i = text_.find(quote, i);
        if (i == npos) break;
        quote = {};
        ++i;
      }
      if (i >= text_.size()) break;
      const wchar_t unit = text_[i];
      if (unit == L'>') {
        node_.isEmptyElement = UnitBefore(i) == L'/';
        return EndAt(CMarkup::NODE_ELEMENT, i + 1);
      }
      // Only a quote after an equals sign opens a value.
      if (IsQuote(unit) && SolidBefore(i) == L'=') quote = QuoteText(unit);
    }
    Suspend({.rest = Rest::kStartTag,
             .type = CMarkup::NODE_ELEMENT,
             .closing = quote,
             .lastUnit = UnitBefore(text_.size()),
             .lastSolid = SolidBefore(text_.size())},
            text_.size());
    Unterminated(L"start_tag");
  }

  /// The code unit before an offset of a tag.
  wchar_t UnitBefore(std::size_t offset) const {
    return offset > first_ ? text_[offset - 1] : node_.state.lastUnit;
  }

  /// The last code unit before an offset of a tag that is not white space.
  wchar_t SolidBefore(std::size_t offset) const {
    while (offset > first_ && IsWhiteSpace(text_[offset - 1])) --offset;
    return offset > first_ ? text_[offset - 1] : node_.state.lastSolid;
  }

  static std::wstring_view QuoteText(wchar_t quote) { return quote == L'"' ? L"\"" : L"'"; }

  void ScanDeclaration() {
    static constexpr std::wstring_view kCData = L"<![CDATA[";
    const std::size_t third = start_ + 2;
    if (third == text_.size()) return Unterminated(L"tag");
    switch (text_[third]) {
      case L'-':
        if (third + 1 == text_.size()) return Unterminated(L"tag");
        if (text_[third + 1] != L'-') return SyntaxError(L"comment_tag_syntax", third + 1);
        return EndAfter(L"-->", third + 2, CMarkup::NODE_COMMENT, L"comment");
      case L'[':
        for (std::size_t i = 3; i < kCData.size(); ++i) {
          if (start_ + i == text_.size()) return Unterminated(L"tag");
          if (text_[start_ + i] != kCData[i])
            return SyntaxError(L"cdata_section_syntax", start_ + i);
        }
        return EndAfter(L"]]>", start_ + kCData.size(), CMarkup::NODE_CDATA_SECTION,
                        L"cdata_section");
      case L'D':
        return ScanDocumentType(start_ + 3,
                                {.rest = Rest::kDocumentType, .type = CMarkup::NODE_DOCUMENT_TYPE});
      default:
        return SyntaxError(L"exclamation_tag_syntax", third);
    }
  }

  /// Brackets enclose the internal subset, in which `>` ends only the enclosed declaration.
  void ScanDocumentType(std::size_t i, ScanState state) {
    bool isSuspended = false;
    while (SkipTo(&i, &state.closing) && i < text_.size()) {
      const wchar_t unit = text_[i];
      if (unit == L'>' && state.brackets == 0) return EndAt(state.type, i + 1);
      if (unit == L'[') ++state.brackets;
      if (unit == L']' && state.brackets > 0) --state.brackets;
      if (unit == L'<' && state.brackets > 0) {
        // The longest opening has four code units; with fewer it may be incomplete.
        if (text_.size() - i < 4 && !isSuspended) {
          Suspend(state, i);
          isSuspended = true;
        }
        ScanSubsetMarkup(&i, &state);
        continue;
      }
      if (IsQuote(unit)) state.closing = QuoteText(unit);
      ++i;
    }
    if (!isSuspended) Suspend(state, i);
    Unterminated(L"document_type");
  }

  /// Moves past the next `closing`, which is then empty. If the text ends first, moves to where the
  /// search continues, and returns false.
  bool SkipTo(std::size_t* at, std::wstring_view* closing) const {
    if (closing->empty()) return true;
    const std::size_t found = text_.find(*closing, *at);
    if (found == npos) {
      *at = BeforeClosing(*closing, *at);
      return false;
    }
    *at = found + closing->size();
    *closing = {};
    return true;
  }

  /// Handles the `<` at `*at` in an internal subset: sets what ends the markup that it opens.
  void ScanSubsetMarkup(std::size_t* at, ScanState* state) {
    const std::size_t open = *at;
    const std::wstring_view rest = text_.substr(open);
    *at = open + 1;
    if (rest.starts_with(L"<!--")) {
      *at = open + 4;
      state->closing = L"-->";
    } else if (rest.starts_with(L"<?")) {
      *at = open + 2;
      state->closing = L"?>";
    } else if (rest.starts_with(L"<!") && rest.size() > 2) {
      const wchar_t letter = ToUpperAscii(rest[2]);
      const bool known = rest[2] == L'A' || rest[2] == L'E' || rest[2] == L'N';
      if (letter >= L'A' && letter <= L'Z' && !known) {
        AddResult(node_.result, L"doctype_tag_syntax", nullptr, 0,
                  Offset(static_cast<std::int64_t>(open)));
        state->type = kScanError;
      }
    }
  }

  std::wstring_view text_;
  std::size_t start_ = 0;  ///< of a node that is not continued
  std::size_t first_ = 0;  ///< where the text of the node begins that is still there
  std::int64_t passed_;
  ScannedNode& node_;
};

}  // namespace

int ScanNode(ScanCursor& scan, ScannedNode& node) {
  NodeScanner(scan, node).Scan(scan.next);
  scan.next = node.start + node.length;
  return node.type;
}

int ContinueNode(ScanCursor& scan, ScannedNode& node) {
  NodeScanner(scan, node).Continue();
  scan.next = node.start + node.length;
  return node.type;
}

NodeDelimiters DelimitersOf(int type) {
  if (type == CMarkup::NODE_COMMENT) return {4, 3};        // <!-- -->
  if (type == CMarkup::NODE_CDATA_SECTION) return {9, 3};  // <![CDATA[ ]]>
  return {};
}

std::wstring_view NodeData(int type, std::wstring_view markup) {
  const NodeDelimiters delimiters = DelimitersOf(type);
  return markup.substr(delimiters.opening, markup.size() - delimiters.opening - delimiters.closing);
}

}  // namespace orv
