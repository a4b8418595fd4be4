#include "xml/file_stream.h"

#include "platform/files.h"
#include "xml/text_files.h"

namespace orv {

bool FileStream::OpenToRead(const std::wstring& file) {
  name_ = file;
  input_.open(ToPath(file), std::ios::binary);
  if (!input_) return false;
  head_.resize(kStreamPart);
  input_.read(head_.data(), static_cast<std::streamsize>(head_.size()));
  if (input_.bad()) return false;
  head_.resize(static_cast<std::size_t>(input_.gcount()));
  decoder_.emplace(DetectEncoding(head_, input_.eof()));
  length_ = head_.size();
  head_.erase(0, decoder_->Encoding().Mark().size());
  return true;
}

bool FileStream::OpenToWrite(const std::wstring& file) {
  name_ = file;
  return written_.Open(file);
}

bool FileStream::OpenToAppend(const std::wstring& file) {
  name_ = file;
  std::string head(kStreamPart, '\0');
  std::ifstream old(ToPath(file), std::ios::binary);
  old.read(head.data(), static_cast<std::streamsize>(head.size()));
  head.resize(static_cast<std::size_t>(old.gcount()));
  if (!head.empty()) {
    TextEncoding encoding = DetectEncoding(head, old.eof());
    encoding.hasMark = false;  // its mark is already in the file
    encoder_.emplace(std::move(encoding));
  }
  appended_.open(ToPath(file), std::ios::binary | std::ios::app);
  return static_cast<bool>(appended_);
}

bool FileStream::Read(std::size_t bytes, std::wstring* text) {
  const std::size_t before = text->size();
  std::string part = std::move(head_);
  head_.clear();
  for (;;) {
    const bool atEnd = part.empty() && !input_;
    if (part.empty() && !atEnd) {
      part.resize(std::max(bytes, kStreamPart));
      input_.read(part.data(), static_cast<std::streamsize>(part.size()));
      part.resize(static_cast<std::size_t>(input_.gcount()));
      length_ += part.size();
    }
    if (atEnd && isEnded_) return false;
    isEnded_ = atEnd;
    decoder_->Decode(part, atEnd, text);
    if (text->size() > before) return true;
    part.clear();
  }
}

bool FileStream::Write(const std::wstring& text, std::size_t length, int docFlags) {
  std::string bytes;
  if (!encoder_) {
    encoder_.emplace(EncodingFor(text, docFlags));
    bytes = encoder_->Encoding().Mark();
  }
  encoder_->Encode(std::wstring_view(text).substr(0, length), false, &bytes);
  return PutBytes(bytes);
}

bool FileStream::PutBytes(std::string_view bytes) {
  length_ += bytes.size();
  if (written_.IsOpen()) {
    isWhole_ = isWhole_ && written_.Write(bytes);
  } else {
    isWhole_ = isWhole_ &&
               appended_.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).good();
  }
  return isWhole_;
}

bool FileStream::Flush() { return written_.IsOpen() || appended_.flush(); }

bool FileStream::Finish(int docFlags) {
  if (!encoder_ && !Write({}, 0, docFlags)) return false;
  std::string bytes;
  encoder_->Encode({}, true, &bytes);
  if (!PutBytes(bytes)) return false;
  return written_.IsOpen() ? written_.Commit() : static_cast<bool>(appended_.flush());
}

void FileStream::Report(std::wstring* result) const {
  if (decoder_) ReportRead(*decoder_, length_, result);
  if (encoder_) ReportWrite(*encoder_, length_, result);
}

}  // namespace orv
