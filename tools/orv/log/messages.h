#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The catalogue of the messages that the library writes to the log. docs/messages.md is printed
/// from it, and a test compares it with the library's sources.

namespace orv::tool {

/// What an entry says about the printer.
enum class Weight {
  kStep,      ///< a step of normal work
  kHarmless,  ///< an error or a warning that needs no action
  kProblem,   ///< something is wrong
  kFollows,   ///< something is wrong; an entry before it names the reason
};

struct LogMessage {
  const wchar_t* anchor;  ///< of its section in docs/messages.md
  const wchar_t* levels;  ///< "error", or several: "error, trace"
  const wchar_t* format;  ///< as the library composes it
  const wchar_t* names;   ///< what documents show for its placeholders, separated by blanks
  Weight weight;
  const wchar_t* meaning;
  const wchar_t* advice;  ///< what to do
};

/// The messages about one subject.
struct LogSubject {
  const wchar_t* title;
  std::span<const LogMessage> messages;
};

std::span<const LogSubject> LogSubjects();

/// A message taken apart: the words that are always the same, and the values between them.
struct MessageParts {
  const LogMessage* message = nullptr;  ///< null for a message that is not the library's
  /// One more than there are values.
  std::vector<std::wstring> words;
  std::vector<std::wstring> values;
};

/// Finds a message in the catalogue. In any other message, numbers, paths and quoted texts count as
/// values.
MessageParts TakeApart(std::wstring_view message);

/// The text of a catalogue's message with the names of its values: "Loading file FILE".
std::wstring ShownText(const LogMessage& message);
/// Where a message is described: "docs/messages.md#loading-file".
std::wstring DocumentOf(const LogMessage& message);

/// All messages as a table, as an array of objects, and as a Markdown document.
std::string MessagesAsText();
std::string MessagesAsJson();
std::string MessagesAsMarkdown();

}  // namespace orv::tool
