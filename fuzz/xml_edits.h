#pragma once

#include <iterator>

#include "orv/xml/markup.h"

/// Any edit or move on a document, chosen by a few numbers: the fuzzer takes them from its input,
/// the tests at random. Both can omit steps and repeat a sequence.

namespace orv::fuzz {

struct EditStep {
  unsigned what;
  unsigned where;
  unsigned flags;
};

/// The meaning of a step's numbers.
struct EditArguments {
  const wchar_t* name;
  const wchar_t* value;
  const wchar_t* markup;
  int flags;
  int type;
};

inline void ApplyEdit(CMarkup& doc, const EditStep& step) {
  static constexpr const wchar_t* kNames[] = {L"a", L"b", L"long", L"\u00e9", L"", L"a b"};
  static constexpr const wchar_t* kValues[] = {L"", L"v", L"a<b>&'\"", L"]]>", L"?>", L"--"};
  static constexpr const wchar_t* kMarkup[] = {
      L"<s/>", L"<s><t x='>'/>u<v>w</v></s>", L"<s>", L"<a>1</a>", L"x<y/>", L"<!--c--><s/>"};
  // The last one, an element without an end tag, makes the rest ill-formed, so it is rare.
  static constexpr int kFlags[] = {0, 1, 2, 4, 0x4008, 3, 6, 0x1000, 0x5002, CMarkup::ADD_NOEND};
  // One number each; moves have several, so that documents become deep.
  using Edit = void (*)(CMarkup&, const EditArguments&);
  static constexpr Edit kEdits[] = {
      [](CMarkup& d, const EditArguments& a) { d.AddElem(a.name, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.InsertElem(a.name, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.AddChildElem(a.name, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.InsertChildElem(a.name, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.AddSubDoc(a.markup, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.InsertSubDoc(a.markup, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.AddChildSubDoc(a.markup, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.InsertChildSubDoc(a.markup, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.AddNode(a.type, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.InsertNode(a.type, a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.SetAttrib(a.name, a.value); },
      [](CMarkup& d, const EditArguments& a) { d.SetChildAttrib(a.name, a.value); },
      [](CMarkup& d, const EditArguments& a) { d.RemoveAttrib(a.name); },
      [](CMarkup& d, const EditArguments& a) { d.SetData(a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.SetChildData(a.value, a.flags); },
      [](CMarkup& d, const EditArguments& a) { d.SetElemContent(a.markup); },
      [](CMarkup& d, const EditArguments&) { d.RemoveElem(); },
      [](CMarkup& d, const EditArguments&) { d.RemoveChildElem(); },
      [](CMarkup& d, const EditArguments&) { d.RemoveNode(); },
      [](CMarkup& d, const EditArguments& a) { d.SavePos(a.name); },
      [](CMarkup& d, const EditArguments& a) { d.RestorePos(a.name); },
      [](CMarkup& d, const EditArguments&) { d.ResetPos(); },
      [](CMarkup& d, const EditArguments&) { d.ResetMainPos(); },
      [](CMarkup& d, const EditArguments&) { d.ResetChildPos(); },
      [](CMarkup& d, const EditArguments&) { d.OutOfElem(); },
      [](CMarkup& d, const EditArguments&) { d.FindNode(); },
      [](CMarkup& d, const EditArguments& a) { d.FindElem(a.name); },
      [](CMarkup& d, const EditArguments&) { d.FindElem(); },
      [](CMarkup& d, const EditArguments&) { d.FindChildElem(); },
      [](CMarkup& d, const EditArguments&) { d.FindChildElem(); },
      [](CMarkup& d, const EditArguments&) { d.IntoElem(); },
      [](CMarkup& d, const EditArguments&) { d.IntoElem(); },
      [](CMarkup& d, const EditArguments&) { d.IntoElem(); },
  };
  const unsigned rare = step.where / 64 % 16 == 0 ? 0 : 1;
  kEdits[step.what % std::size(kEdits)](
      doc, {kNames[step.where % std::size(kNames)], kValues[step.where / 6 % std::size(kValues)],
            kMarkup[step.flags % std::size(kMarkup)],
            kFlags[step.flags % (std::size(kFlags) - rare)], 1 << step.flags % 7});
}

}  // namespace orv::fuzz
