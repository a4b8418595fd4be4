#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "base/utf8.h"
#include "fuzz/targets.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"
#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/edit.h"
#include "tools/orv/config/text.h"

namespace orv::fuzz {
namespace {

constexpr wchar_t kFileName[] = L"orv_conf_lx300.xml";

std::wstring Sample(const wchar_t* name) {
  std::wstring text;
  std::wstring problem;
  Require(tool::ReadConfigText(FromPath(ORV_EXAMPLES) + kPathSeparator + name, &text, &problem),
          "a sample can be read");
  return text;
}

/// Goes to an element that a number chooses.
void GoTo(int number, CMarkup* doc) {
  CMarkupCursor cursor(*doc);
  int count = 0;
  while (cursor.NextElem()) ++count;
  if (count == 0) return;
  cursor.ResetPos();
  for (int i = number % count; i >= 0; --i) cursor.NextElem();
  cursor.MoveTo(*doc);
}

/// A mistake at one element. `other` is one at another place.
struct Mistake {
  CMarkup& doc;
  const CMarkup& other;
  unsigned number;
};

void SetValue(const Mistake& at) {
  constexpr const wchar_t* kValues[] = {L"",
                                        L"0",
                                        L"-1",
                                        L"1",
                                        L"5",
                                        L"50000",
                                        L"2147483647",
                                        L"2147483648",
                                        L"-2147483649",
                                        L"12.5",
                                        L"100 mm",
                                        L" 75 ",
                                        L"1O0",
                                        L"0x10",
                                        L"true",
                                        L"TRUE",
                                        L"false",
                                        L"yes",
                                        L"2026-02-30T12:00:00",
                                        L"\u00e4&<>\"'",
                                        L"orv_conf_LX 300.xml"};
  at.doc.SetData(kValues[at.number % std::size(kValues)]);
}

void ScaleValue(const Mistake& at) {
  constexpr double kFactors[] = {-1, 0.001, 0.1, 1000, 1.01};
  const double value = std::wcstod(at.doc.GetData().c_str(), nullptr);
  const double scaled = value * kFactors[at.number % std::size(kFactors)];
  if (!(std::abs(scaled) < 1e15)) return;
  at.doc.SetData(std::to_wstring(static_cast<std::int64_t>(scaled)));
}

void Rename(const Mistake& at) {
  const std::wstring tag = at.other.GetTagName();
  const std::wstring content = at.doc.GetElemContent();
  at.doc.InsertSubDoc(L"<" + tag + L">" + content + L"</" + tag + L">");
  if (at.number % 2 == 0) at.doc.FindElem() && at.doc.RemoveElem();
}

void Move(const Mistake& at) {
  at.doc.RemoveElem();
  GoTo(static_cast<int>(at.number), &at.doc);
  at.doc.AddSubDoc(at.other.GetSubDoc());
}

constexpr void (*kMistakes[])(const Mistake&) = {
    SetValue,
    SetValue,
    ScaleValue,
    Rename,
    Move,
    [](const Mistake& at) { at.doc.SetAttrib(L"name", at.other.GetAttrib(L"name")); },
    [](const Mistake& at) { at.doc.RemoveAttrib(L"name"); },
    [](const Mistake& at) { at.doc.RemoveElem(); },
    [](const Mistake& at) { at.doc.AddSubDoc(at.other.GetSubDoc()); },
    [](const Mistake& at) { at.doc.AddChildSubDoc(at.other.GetSubDoc()); },
};

std::wstring WithMistakes(Reader* reader) {
  static const std::wstring samples[] = {Sample(L"orv_conf_lx300.xml"),
                                         Sample(L"orv_conf_dx600p.xml"), Sample(L"faulty.xml")};
  CMarkup doc(samples[reader->Below(std::size(samples))]);
  for (int count = reader->Below(12); count > 0; --count) {
    CMarkup other(doc.GetDoc());
    GoTo(reader->Below(0x10000), &other);
    GoTo(reader->Below(0x10000), &doc);
    const auto mistake = static_cast<std::size_t>(reader->Byte()) % std::size(kMistakes);
    kMistakes[mistake]({doc, other, static_cast<unsigned>(reader->Below(0x10000))});
  }
  tool::EditedConfig file{kFileName, doc.GetDoc(), false};
  if (reader->Byte() % 8 != 0) tool::Sign(&file);
  return file.text;
}

LoadResult Load(const std::wstring& text) {
  const std::string bytes = WideToUtf8(text);
  const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::filesystem::path file = AsFile({first, bytes.size()});
  return LoadConfigFile(FromPath(file), nullptr, nullptr);
}

bool HasError(const std::vector<tool::Finding>& findings) {
  return std::ranges::any_of(findings, [](const tool::Finding& finding) {
    return finding.rule->severity == tool::Severity::kError;
  });
}

}  // namespace

void ConfigEdit(Input input) {
  Reader reader(input);
  const std::wstring text = WithMistakes(&reader);
  const auto findingsOf = [](const std::wstring& checked) {
    return tool::CheckConfig(checked, kFileName);
  };
  const LoadResult loaded = Load(text);
  Require((loaded.config == nullptr) == HasError(findingsOf(text)),
          "only an error keeps a file from loading");
  tool::EditedConfig fixed{kFileName, text, false};
  if (tool::FollowProposals(&fixed, findingsOf)) return;
  // The correction of a wrong version makes the loader read the device, with its own mistakes.
  const bool hasDevice = loaded.config != nullptr && !loaded.config->device.model.modelName.empty();
  Require(!hasDevice || Load(fixed.text).config != nullptr, "a corrected file loads");
  const std::wstring once = fixed.text;
  Require(!tool::FollowProposals(&fixed, findingsOf) && fixed.text == once,
          "a corrected file has nothing to correct");
}

}  // namespace orv::fuzz
