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
      : text_(scan.Text()),
        start_(static_cast<std::size_t>(scan.next)),
        passed_(scan.passed),
        node_(node) {
    node_.start = scan.next;
    node_.isEmptyElement = false;
    node_.hitEnd = false;
    node_.result.clear();
  }

  void Scan() {
    if (start_ >= text_.size()) {
      node_.hitEnd = true;
      EndAt(kScanEnd, start_);
    } else if (text_[start_] != L'<') {
      ScanText();
    } else if (start_ + 1 == text_.size()) {
      Unterminated(L"tag");
    } else if (IsNameStart(text_[start_ + 1])) {
      ScanStartTag();
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

 private:
  static constexpr std::size_t npos = std::wstring_view::npos;

  int Offset(std::size_t place) const { return passed_ + static_cast<int>(place); }

  void EndAt(int type, std::size_t end) {
    node_.type = type;
    node_.length = static_cast<int>(end - start_);
  }

  /// Ends the node after the next `closing`.
  void EndAfter(std::wstring_view closing, std::size_t from, int type, const wchar_t* typeName) {
    const std::size_t found = text_.find(closing, from);
    if (found == npos) return Unterminated(typeName);
    EndAt(type, found + closing.size());
  }

  /// Ends the node with an error: the text ends inside a construct.
  void Unterminated(const wchar_t* typeName) {
    node_.hitEnd = true;
    AddResult(node_.result, L"unterminated_tag_syntax", typeName, kResultType, Offset(start_));
    EndAt(kScanError, text_.size());
  }

  /// Ends the node with a syntax error at `wrong`. The node extends to the next `>` from there.
  void SyntaxError(const wchar_t* entry, std::size_t wrong) {
    AddResult(node_.result, entry, nullptr, 0, Offset(start_));
    EndAfter(L">", wrong, kScanError, L"tag");
  }

  void ScanText() {
    std::size_t end = start_;
    while (end < text_.size() && IsWhiteSpace(text_[end])) ++end;
    const bool blank = end == text_.size() || text_[end] == L'<';
    end = std::min(text_.find(L'<', end), text_.size());
    node_.hitEnd = end == text_.size();
    EndAt(blank ? CMarkup::NODE_WHITESPACE : CMarkup::NODE_TEXT, end);
  }

  void ScanStartTag() {
    for (std::size_t i = start_ + 2; i < text_.size(); ++i) {
      const wchar_t unit = text_[i];
      if (unit == L'>') {
        node_.isEmptyElement = text_[i - 1] == L'/';
        return EndAt(CMarkup::NODE_ELEMENT, i + 1);
      }
      if (IsQuote(unit) && OpensValue(text_.data() + start_, text_.data() + i)) {
        i = text_.find(unit, i + 1);
        if (i == npos) break;
      }
    }
    Unterminated(L"start_tag");
  }

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
        return ScanDocumentType();
      default:
        return SyntaxError(L"exclamation_tag_syntax", third);
    }
  }

  /// Brackets enclose the internal subset, in which `>` ends only the enclosed declaration.
  void ScanDocumentType() {
    int type = CMarkup::NODE_DOCUMENT_TYPE;
    int brackets = 0;
    std::size_t i = start_ + 3;
    while (i < text_.size()) {
      const wchar_t unit = text_[i];
      if (unit == L'>' && brackets == 0) return EndAt(type, i + 1);
      if (unit == L'[') ++brackets;
      if (unit == L']' && brackets > 0) --brackets;
      if (IsQuote(unit)) {
        i = After(text_.substr(i, 1), i + 1);
      } else if (unit == L'<' && brackets > 0) {
        i = ScanSubsetMarkup(i, &type);
      } else {
        ++i;
      }
    }
    Unterminated(L"document_type");
  }

  /// The offset at which to continue after the `<` at `open` in an internal subset.
  std::size_t ScanSubsetMarkup(std::size_t open, int* type) {
    const std::wstring_view rest = text_.substr(open);
    if (rest.starts_with(L"<!--")) return After(L"-->", open + 4);
    if (rest.starts_with(L"<?")) return After(L"?>", open + 2);
    if (rest.starts_with(L"<!") && rest.size() > 2) {
      const wchar_t letter = ToUpperAscii(rest[2]);
      const bool known = rest[2] == L'A' || rest[2] == L'E' || rest[2] == L'N';
      if (letter >= L'A' && letter <= L'Z' && !known) {
        AddResult(node_.result, L"doctype_tag_syntax", nullptr, 0, Offset(open));
        *type = kScanError;
      }
    }
    return open + 1;
  }

  /// One past the next `closing`, or the end of the text.
  std::size_t After(std::wstring_view closing, std::size_t from) const {
    const std::size_t found = text_.find(closing, from);
    return found == npos ? text_.size() : found + closing.size();
  }

  std::wstring_view text_;
  std::size_t start_;
  int passed_;
  ScannedNode& node_;
};

}  // namespace

int ScanNode(ScanCursor& scan, ScannedNode& node) {
  NodeScanner scanner(scan, node);
  scanner.Scan();
  scan.next = node.start + node.length;
  return node.type;
}

std::wstring_view NodeData(int type, std::wstring_view markup) {
  std::size_t opening = 0;
  std::size_t closing = 0;
  if (type == CMarkup::NODE_COMMENT) {
    opening = 4;  // <!--
    closing = 3;  // -->
  } else if (type == CMarkup::NODE_CDATA_SECTION) {
    opening = 9;  // <![CDATA[
    closing = 3;  // ]]>
  }
  return markup.substr(opening, markup.size() - opening - closing);
}

}  // namespace orv
