#include "xml/document_writer.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace orv {

/// The address up to which the markup is complete.
int DocumentWriter::CompletedEnd() const {
  if (cursor_.IsOtherNode()) return document_.AddressOf(cursor_.NodeOffset());
  if (const int main = cursor_.Main(); main != 0) {
    return HasStartTag(main) ? document_[main].start : document_.ContentEnd(main);
  }
  const int parent = cursor_.Parent();
  if (parent == 0) return static_cast<int>(document_.text.size());
  return document_[parent].IsTagOnly() ? document_[parent].start : document_.ContentEnd(parent);
}

bool DocumentWriter::IsFull() const {
  constexpr auto kFull = static_cast<int>(kStreamPart);
  // The end tags of the open elements stay in memory, however much they are.
  return document_.Size() > kFull && document_.OffsetOf(CompletedEnd()) > kFull;
}

bool DocumentWriter::WriteCompleted() {
  document_.CloseGap();
  const int end = CompletedEnd();
  // Before the write, after which nothing may fail.
  std::vector<ElementEntry> open = OpenElements();
  if (!file_.Write(document_.text, static_cast<std::size_t>(end), document_.flags)) return false;
  document_.ReplaceStart(end, {});
  KeepOpenElements(std::move(open), end);
  return true;
}

bool DocumentWriter::Finish() {
  document_.CloseGap();
  return file_.Write(document_.text, document_.text.size(), document_.flags) &&
         file_.Finish(document_.flags);
}

/// The open elements and the current one, from the inside out.
std::vector<ElementEntry> DocumentWriter::OpenElements() const {
  std::vector<ElementEntry> open;
  if (KeepsMain()) open.push_back(document_[cursor_.Main()]);
  for (int i = cursor_.Parent(); i != 0; i = document_[i].parent) open.push_back(document_[i]);
  return open;
}

/// Reduces the index to the elements `kept`, after the start of the text was written. Does not
/// throw: there is room for these entries.
void DocumentWriter::KeepOpenElements(std::vector<ElementEntry> kept, int written) {
  const bool isOtherNode = cursor_.IsOtherNode();
  const bool keepsMain = KeepsMain();
  document_.elements.Truncate(1);
  document_[0] = ElementEntry{};
  document_[0].length = document_.Size();
  int parent = 0;
  int main = 0;
  while (!kept.empty()) {
    ElementEntry element = kept.back();
    kept.pop_back();
    const int end = element.End() - written;
    const int start = element.start - written;
    if (start < 0) element.SetStartTagLength(kWrittenTag);
    element.start = std::max(start, -kWrittenTag);
    element.length = end - element.start;
    element.child = 0;
    const int i = document_.elements.Add();
    document_[i] = element;
    document_.Link(parent, 0, i);
    (keepsMain && kept.empty() ? main : parent) = i;
  }
  const int nodeType = cursor_.NodeType();
  const int nodeLength = cursor_.NodeLength();
  cursor_.Set(parent, main, 0);
  if (isOtherNode) cursor_.SetNode(nodeType, 0, nodeLength);
}

}  // namespace orv
