#include "xml/file_stream.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>
#include <utility>

#include "platform/files.h"
#include "xml/text_files.h"

namespace orv {

namespace {

/// Moves a position over the first `count` code units of a text, of which one more must be known to
/// find out whether a CR ends a line.
void Advance(std::wstring_view text, std::size_t count, TextPosition* at) {
  const TextPosition moved =
      LineIndex(text.substr(0, count + 1)).Find(static_cast<std::int64_t>(count));
  const auto add = [](int number, int added) {
    constexpr std::int64_t kMax = std::numeric_limits<int>::max();
    return static_cast<int>(std::min(std::int64_t{number} + added, kMax));
  };
  at->column = moved.line == 1 ? add(at->column, moved.column - 1) : moved.column;
  at->line = add(at->line, moved.line - 1);
}

/// Returns a stream to a place and to its state now, even if an allocation fails.
class StreamReturn {
 public:
  StreamReturn(std::ifstream& input, std::uint64_t place)
      : input_(input), place_(place), state_(input.rdstate()) {}
  StreamReturn(const StreamReturn&) = delete;
  StreamReturn& operator=(const StreamReturn&) = delete;
  ~StreamReturn() {
    input_.clear();
    input_.seekg(static_cast<std::streamoff>(place_));
    input_.setstate(state_);
  }

 private:
  std::ifstream& input_;
  std::uint64_t place_;
  std::ios::iostate state_;
};

constexpr wchar_t kBecameShorter[] = L"it became shorter while it was read";

}  // namespace

std::optional<TextPosition> PositionInFile(const std::wstring& file, std::size_t offset) {
  std::error_code ignored;
  FileStream stream;
  if (!std::filesystem::is_regular_file(ToPath(file), ignored) || !stream.OpenToRead(file)) {
    return {};
  }
  TextPosition at{1, 1};
  std::wstring text;
  while (text.size() <= offset && stream.Read(kStreamPart, &text)) {
    const std::size_t count = std::min(text.size() - 1, offset);
    Advance(text, count, &at);
    text.erase(0, count);
    offset -= count;
  }
  if (offset > text.size()) return {};
  Advance(text, offset, &at);
  return at;
}

std::wstring ReadTextRange(const std::wstring& file, std::int64_t start, std::int64_t end,
                           const std::function<void(std::wstring_view)>& use) {
  FileStream stream;
  if (!stream.OpenToRead(file)) return stream.FailureReason();
  std::int64_t at = 0;  // of the part
  for (std::wstring part; at < end && stream.Read(kStreamPart, &part); part.clear()) {
    const auto size = static_cast<std::int64_t>(part.size());
    const std::int64_t first = std::clamp<std::int64_t>(start - at, 0, size);
    const std::int64_t last = std::min(end - at, size);
    if (first < last) {
      use(std::wstring_view(part).substr(static_cast<std::size_t>(first),
                                         static_cast<std::size_t>(last - first)));
    }
    at += size;
  }
  if (at >= end) return {};
  return stream.FailureReason().empty() ? kBecameShorter : stream.FailureReason();
}

bool FileStream::OpenToRead(const std::wstring& file) {
  name_ = file;
  input_.open(ToPath(file), std::ios::binary);
  if (!input_) return Fail(FileErrorText());
  unread_.resize(kStreamPart);
  input_.read(unread_.data(), static_cast<std::streamsize>(unread_.size()));
  if (input_.bad()) return Fail(FileErrorText());
  unread_.resize(static_cast<std::size_t>(input_.gcount()));
  decoder_.emplace(DetectEncoding(unread_, input_.eof()));
  std::error_code ignored;
  canReadAgain_ = std::filesystem::is_regular_file(ToPath(file), ignored);
  length_ = unread_.size();
  unread_.erase(0, decoder_->Encoding().Mark().size());
  return true;
}

bool FileStream::OpenToWrite(const std::wstring& file) {
  name_ = file;
  return written_.Open(file) || Fail(FileErrorText());
}

bool FileStream::OpenToAppend(const std::wstring& file) {
  name_ = file;
  std::string head(kStreamPart, '\0');
  std::ifstream old(ToPath(file), std::ios::binary);
  std::wstring reason = FileErrorText();
  std::error_code error;
  if (!old && (std::filesystem::exists(ToPath(file), error) || error)) {
    return Fail(std::move(reason));
  }
  old.read(head.data(), static_cast<std::streamsize>(head.size()));
  if (old.bad()) return Fail(FileErrorText());
  head.resize(static_cast<std::size_t>(old.gcount()));
  if (!head.empty()) {
    TextEncoding encoding = DetectEncoding(head, old.eof());
    encoding.hasMark = false;  // its mark is already in the file
    // What follows part of a code unit would be read as other characters.
    const int unit = encoding.form == TextForm::kUtf16   ? 2
                     : encoding.form == TextForm::kUtf32 ? 4
                                                         : 1;
    if (unit > 1) {
      old.clear();
      const std::streamoff size = old.seekg(0, std::ios::end).tellg();
      if (size < 0) return Fail(FileErrorText());
      if (size % unit != 0) return Fail(L"it ends inside a character");
    }
    encoder_.emplace(std::move(encoding));
  }
  appended_.open(ToPath(file), std::ios::binary | std::ios::app);
  return appended_ || Fail(FileErrorText());
}

bool FileStream::Read(std::size_t bytes, std::wstring* text) {
  const std::size_t before = text->size();
  // Bytes without the end of a character wait in the decoder, which copies them each time.
  for (std::size_t size = std::max(bytes, kStreamPart);; size *= 2) {
    const bool atEnd = unread_.empty() && !input_;
    if (atEnd && isEnded_) return false;
    if (unread_.empty() && !atEnd) {
      std::string part(size, '\0');
      input_.read(part.data(), static_cast<std::streamsize>(part.size()));
      if (input_.bad()) Fail(FileErrorText());
      part.resize(static_cast<std::size_t>(input_.gcount()));
      length_ += part.size();
      unread_ = std::move(part);
    }
    // A failed allocation leaves the part for the next call.
    try {
      TextDecoder decoder = *decoder_;
      decoder.Decode(unread_, atEnd, text);
      *decoder_ = std::move(decoder);
    } catch (const std::bad_alloc&) {
      text->resize(before);
      throw;
    }
    isEnded_ = atEnd;
    std::string().swap(unread_);
    if (text->size() > before) return true;
  }
}

bool FileStream::ReadAgain(StreamPlace* place, std::wstring* text) {
  const std::size_t before = text->size();
  std::string part(kStreamPart, '\0');
  const StreamReturn atEnd(input_, length_);
  input_.clear();
  input_.seekg(static_cast<std::streamoff>(place->bytes));
  for (std::size_t size = part.size(); text->size() == before && !part.empty(); size *= 2) {
    part.resize(size);
    input_.read(part.data(), static_cast<std::streamsize>(part.size()));
    if (input_.bad()) Fail(FileErrorText());
    part.resize(static_cast<std::size_t>(std::max<std::streamsize>(input_.gcount(), 0)));
    place->bytes += part.size();
    place->decoder.Decode(part, part.empty(), text);
  }
  return text->size() > before || Fail(kBecameShorter);
}

bool FileStream::Write(const std::wstring& text, std::size_t length, int docFlags) {
  if (!encoder_) encoder_.emplace(EncodingFor(text, docFlags));
  return WriteEncoded(std::wstring_view(text).substr(0, length), false, docFlags);
}

/// Writes the next text, unless the encoding prevents it. A failed allocation writes nothing.
bool FileStream::WriteEncoded(std::wstring_view text, bool isLast, int docFlags) {
  TextEncoder encoder = *encoder_;
  std::string bytes;
  if (length_ == 0) bytes = encoder.Encoding().Mark();
  encoder.Encode(text, isLast, &bytes);
  std::wstring obstacle = WhyNotWritten(encoder, {}, docFlags);
  *encoder_ = std::move(encoder);
  if (!obstacle.empty()) return Fail(std::move(obstacle));
  return PutBytes(bytes);
}

/// Keeps the reason of the first failure; returns false.
bool FileStream::Fail(std::wstring reason) {
  if (failure_.empty()) failure_ = std::move(reason);
  return false;
}

bool FileStream::PutBytes(std::string_view bytes) {
  if (!failure_.empty()) return false;
  length_ += bytes.size();
  const auto size = static_cast<std::streamsize>(bytes.size());
  const bool isWritten =
      written_.IsOpen() ? written_.Write(bytes) : appended_.write(bytes.data(), size).good();
  return isWritten || Fail(FileErrorText());
}

bool FileStream::Flush() { return written_.IsOpen() || appended_.flush() || Fail(FileErrorText()); }

bool FileStream::Finish(int docFlags) {
  if (!encoder_ && !Write({}, 0, docFlags)) return false;
  if (!WriteEncoded({}, true, docFlags)) return false;
  return written_.IsOpen() ? written_.Commit() || Fail(FileErrorText()) : Flush();
}

void FileStream::Report(std::wstring* result) const {
  if (decoder_) ReportRead(*decoder_, length_, result);
  if (encoder_) ReportWrite(*encoder_, length_, result);
}

}  // namespace orv
