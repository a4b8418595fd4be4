/// Runs the code that reads text and bytes at the edges of inaccessible memory, with texts of every
/// length up to more than two vectorized steps.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/utf8.h"
#include "base/utf8_blocks.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/xml/markup.h"
#include "platform/heap.h"
#include "tests/guarded.h"
#include "xml/attributes.h"
#include "xml/delimiters.h"
#include "xml/element_index.h"
#include "xml/scanner.h"

namespace orv {
namespace {

using test::Edge;
using test::Guarded;

constexpr std::size_t kMaxLength = 130;

/// Repeated, and cut to every length: markup with every construct, runs of characters that are
/// processed as blocks, and ill-formed text.
const std::wstring kTexts[] = {
    L"<a b='c' d=\"e&amp;f\">text &lt; &#x41;&unknown;<!-- c --><![CDATA[d]]><?p q='r'?></a>",
    L"<!DOCTYPE x [<!ELEMENT y (z)>]><x/>",
    L"<element with a very long start tag and no end ",
    L"<a b=\"no quote after it, and an & and a &name and a &#1",
    L"plain text",
    L"\u00e9\u00fc\u03b1",
    L"\u4e2d\u6587 ",
    L"a\u00e9bc\u4e2ddefghijklmnopqrstuvwxyz",
    std::wstring{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00), L'x'},
    std::wstring{static_cast<wchar_t>(0xDE00), static_cast<wchar_t>(0xD83D)},
    L"\"'<>",
    L"&&&amp",
    L"    \t\r\n ",
    L"QUJDREVG/+="};

template <typename Text>
Text Cut(const Text& text, std::size_t length) {
  Text repeated;
  while (repeated.size() < length) repeated += text;
  return repeated.substr(0, length);
}

/// Runs `check(text, edge)` with every text.
template <typename Check>
void ForEachText(Check check) {
  for (const std::wstring& whole : kTexts) {
    for (std::size_t length = 0; length <= kMaxLength; ++length) {
      const std::wstring text = Cut(whole, length);
      for (const Edge edge : test::kEdges) check(text, edge);
    }
  }
}

TEST(Guard, DelimitersAreFoundInBlocks) {
  for (const auto level :
       {CpuLevel::kPlain, CpuLevel::kSse41, CpuLevel::kAvx2, CpuLevel::kAvx512}) {
    if (level > SupportedCpuLevel()) continue;
    for (const std::wstring& whole : kTexts) {
      for (const std::size_t blocks : {1, 2, 3, 8}) {
        const std::wstring text = Cut(whole, blocks * kDelimiterBlock);
        std::vector<std::uint32_t> expected(text.size() + 16);
        expected.resize(
            DelimiterScannerFor(CpuLevel::kPlain)(text.data(), blocks, 7, expected.data()));
        for (const Edge edge : test::kEdges) {
          const Guarded<wchar_t> guarded(text, edge);
          const Guarded<std::uint32_t> signs(text.size() + 16, edge);
          const std::size_t count =
              DelimiterScannerFor(level)(guarded.data(), blocks, 7, signs.data());
          EXPECT_TRUE(std::ranges::equal(expected, std::span(signs.data(), count)));
        }
      }
    }
  }
}

TEST(Guard, DocumentsAreParsedUpToTheirTerminator) {
  ForEachText([](const std::wstring& text, Edge edge) {
    const Guarded<wchar_t> guarded(std::wstring_view(text.c_str(), text.size() + 1), edge);
    const int length = static_cast<int>(text.size());
    ElementIndex elements;
    elements.Reset(8);
    std::wstring result;
    IndexFaults faults;
    IndexElements(elements, 0, {.text = guarded.data(), .length = length}, result, &faults,
                  nullptr);
    const auto nodesOf = [length](const wchar_t* at) {
      std::vector<int> nodes;
      ScannedNode node;
      ScanCursor scan{.text = at, .length = length};
      do {
        nodes.push_back(ScanNode(scan, node));
      } while (nodes.back() != kScanEnd);
      return nodes;
    };
    CMarkup document;
    document.SetDoc(text);
    ASSERT_TRUE(document.GetResult().starts_with(result)) << WideToUtf8(text);
    ASSERT_EQ(nodesOf(guarded.data()), nodesOf(text.c_str())) << WideToUtf8(text);
  });
}

TEST(Guard, AttributesAreReadUpToTheEnd) {
  ForEachText([](const std::wstring& text, Edge edge) {
    if (text.empty()) return;
    const Guarded<wchar_t> guarded(text, edge);
    const auto read = [](std::wstring_view view) {
      std::wstring all;
      Attribute attribute;
      AttributeCursor cursor(view, view.size() > 1 ? 1 : 0);
      while (cursor.Next(&attribute)) all.append(attribute.name).append(attribute.value) += L'|';
      if (FindAttribute(view, 0, L"d", true, &attribute)) all += attribute.value;
      return all.append(FirstValueFast(view, 0, L"<a b=\"", {}))
          .append(FirstValueFast(view, 0, L"<", L"a"));
    };
    ASSERT_EQ(read(guarded.view()), read(text)) << WideToUtf8(text);
  });
}

TEST(Guard, TextIsUnescapedAndEscaped) {
  ForEachText([](const std::wstring& text, Edge edge) {
    const Guarded<wchar_t> guarded(text, edge);
    const Guarded<wchar_t> terminated(std::wstring_view(text.c_str(), text.size() + 1), edge);
    const int length = static_cast<int>(text.size());
    for (const int flags :
         {0, int{CMarkup::DOC_TRIMWHITESPACE}, int{CMarkup::DOC_COLLAPSEWHITESPACE}}) {
      const std::wstring plain = CMarkup::UnescapeText(text.c_str(), length, flags);
      ASSERT_EQ(CMarkup::UnescapeText(guarded.data(), length, flags), plain);
      ASSERT_EQ(CMarkup::UnescapeText(terminated.data(), -1, flags), plain);
    }
    for (const int flags : {0, int{CMarkup::ADD_KEEPREFS}, int{CMarkup::ESC_ATTRIB}}) {
      ASSERT_EQ(CMarkup::EscapeText(terminated.data(), flags),
                CMarkup::EscapeText(text.c_str(), flags));
    }
    ASSERT_EQ(CMarkup::GetDeclaredEncoding(terminated.data()),
              CMarkup::GetDeclaredEncoding(text.c_str()));
  });
}

TEST(Guard, TextIsConvertedBothWays) {
  ForEachText([](const std::wstring& text, Edge edge) {
    const Guarded<wchar_t> wide(text, edge);
    const std::string bytes = WideToUtf8(text);
    ASSERT_EQ(WideToUtf8(wide.view()), bytes);
    // Targets that suffice, and some that are too small.
    for (std::size_t less = 0; less <= 5 && less <= bytes.size(); ++less) {
      const Guarded<char> target(bytes.size() - less, edge);
      const std::size_t written = WideToUtf8(wide.view(), target.data(), target.size());
      ASSERT_TRUE(bytes.starts_with(target.view().substr(0, written)));
      ASSERT_TRUE(target.IsUntouchedAround());
    }
    // Bytes cut at any position, also within a character.
    for (std::size_t less = 0; less <= 3 && less <= bytes.size(); ++less) {
      const std::string cut = bytes.substr(0, bytes.size() - less);
      const Guarded<char> narrow(cut, edge);
      const std::wstring expected = Utf8ToWide(cut);
      ASSERT_EQ(Utf8ToWide(narrow.view()), expected);
      const Guarded<wchar_t> target(expected.size(), edge);
      ASSERT_EQ(Utf8ToWide(narrow.view(), target.data()), expected.size());
      ASSERT_EQ(target.view(), expected);
      const int size = static_cast<int>(cut.size());
      ASSERT_EQ(CMarkup::DetectUTF8(narrow.data(), size), CMarkup::DetectUTF8(cut.data(), size));
      const char* at = narrow.data();
      const char* const end = at + cut.size();
      while (at != end) CMarkup::DecodeCharUTF8(at, end);
    }
  });
}

TEST(Guard, BlocksAreConvertedOnEveryProcessor) {
  for (const auto level :
       {CpuLevel::kPlain, CpuLevel::kSse41, CpuLevel::kAvx2, CpuLevel::kAvx512}) {
    if (level > SupportedCpuLevel()) continue;
    ForEachText([level](const std::wstring& text, Edge edge) {
      const Guarded<wchar_t> wide(text, edge);
      // The headroom promised after `full`, and nothing more.
      const Guarded<char> bytes(text.size() * 3 + 48, edge);
      const wchar_t* from = wide.data();
      char* to = bytes.data();
      Utf8BlockEncoderFor(level)(&from, from + text.size(), &to, bytes.data() + text.size() * 3);
      const auto taken = static_cast<std::size_t>(from - wide.data());
      ASSERT_EQ(bytes.view().substr(0, static_cast<std::size_t>(to - bytes.data())),
                WideToUtf8(text.substr(0, taken)));

      const std::string all = WideToUtf8(text);
      const Guarded<char> narrow(all, edge);
      const Guarded<wchar_t> units(all.size() + 32, edge);
      const char* next = narrow.data();
      wchar_t* out = units.data();
      Utf8BlockDecoderFor(level)(&next, next + all.size(), &out, units.data() + all.size());
      ASSERT_EQ(units.view().substr(0, static_cast<std::size_t>(out - units.data())),
                Utf8ToWide(std::string_view(all).substr(
                    0, static_cast<std::size_t>(next - narrow.data()))));
      if (level != CpuLevel::kPlain && text.starts_with(L'\u00e9') && text.size() == kMaxLength) {
        ASSERT_TRUE(taken > 0 && next > narrow.data()) << "nothing is converted";
      }
    });
  }
}

TEST(Guard, Base64StaysWithinItsBuffers) {
  for (int length = 0; length <= static_cast<int>(kMaxLength); ++length) {
    for (const Edge edge : test::kEdges) {
      const Guarded<unsigned char> bytes(static_cast<std::size_t>(length), edge);
      for (int i = 0; i < length; ++i) bytes.data()[i] = static_cast<unsigned char>(i * 37 + 1);
      const std::wstring text = CMarkup::EncodeBase64(bytes.data(), length);
      for (int room = std::max(length - 4, 0); room <= length + 1; ++room) {
        const Guarded<unsigned char> target(static_cast<std::size_t>(room), edge);
        const int written = CMarkup::DecodeBase64(text, target.data(), room);
        if (room == 0) continue;  // queries the size needed
        ASSERT_LE(written, room);
        ASSERT_TRUE(room < length || written == length);
        ASSERT_TRUE(std::equal(target.data(), target.data() + written, bytes.data()));
        ASSERT_TRUE(target.IsUntouchedAround());
      }
    }
  }
}

TEST(Guard, ProtectedBytesAreCheckedAtEveryLength) {
  SetDiagnosticSink([](const char*) {});
  CEncryptionAES cipher("a key", "CNF");
  DWORD length = 0;
  const Guarded<BYTE> plain(kMaxLength, Edge::kEnd);
  const HeapBuffer whole(cipher.EncryptAsBytes(plain.data(), kMaxLength, &length));
  ASSERT_NE(whole, nullptr);
  for (DWORD size = 0; size <= length; ++size) {
    for (const Edge edge : test::kEdges) {
      const Guarded<BYTE> cut(size, edge);
      std::copy_n(whole.get(), size, cut.data());
      DWORD plainLength = 0;
      DWORD code = 99;
      const HeapBuffer decrypted(cipher.DecryptAsBytes(cut.data(), size, &plainLength, &code));
      ASSERT_EQ(decrypted != nullptr, size == length) << size;
      ASSERT_TRUE(decrypted == nullptr || plainLength == kMaxLength);
      // Decryption must not read past the end either.
      DWORD protectedLength = 0;
      const HeapBuffer again(cipher.EncryptAsBytes(cut.data(), size, &protectedLength));
      ASSERT_EQ(protectedLength, 3 + 1 + 16 + (size / 16 + 1) * 16);
    }
  }
  SetDiagnosticSink(nullptr);
}

}  // namespace
}  // namespace orv
