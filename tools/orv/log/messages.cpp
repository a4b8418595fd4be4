#include "tools/orv/log/messages.h"

#include <algorithm>

#include "base/utf8.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

constexpr wchar_t kNormal[] = L"Nothing: this is a step of normal work.";
constexpr wchar_t kSeeReason[] =
    L"Follow the advice for the entry before it, which names the reason.";
constexpr wchar_t kMoreMemory[] =
    L"End other programs, or give the system more memory. If it recurs with small files, the "
    L"process that the entry names leaks memory.";
constexpr wchar_t kOpenHandle[] =
    L"Pass an open printer handle: this is a fault of the calling module.";

// clang-format off
constexpr LogMessage kLogging[] = {
    {L"logging-start", L"info", L"Logging start for new process (%ls)", L"PREFIX", Weight::kStep,
     L"A process has started to write to the log. The text in brackets is the same in every process.",
     kNormal},
    {L"log-level", L"info", L"   Log Level   : %d", L"MASK", Weight::kStep,
     L"The level mask of the process: the sum of 1 for errors, 2 for warnings, 4 for information and 8 for "
     L"traces.",
     L"Nothing. To log more, set LogLevel (log-format.md) and start the process again."},
    {L"log-to-debug", L"info", L"   Log to Debug: %d", L"SWITCH", Weight::kStep,
     L"1 if the process also writes its entries to the debugger output.", kNormal},
    {L"log-to-file", L"info", L"   Log to File : %d", L"SWITCH", Weight::kStep,
     L"1 if the process writes its entries to the daily file.", kNormal},
};

constexpr LogMessage kPrinters[] = {
    {L"printer-undescribed", L"error", L"The spooler does not describe the printer: %ls", L"REASON",
     Weight::kProblem,
     L"The spooler gave no facts about an open printer, so its driver's name counts as empty and no "
     L"configuration file is found.",
     L"Check that the spooler runs, that the printer still exists, and that the user may read it."},
    {L"printer-handle-driver", L"error", L"Unable to get printer driver name for an invalid handle!", L"",
     Weight::kProblem, L"A module asked for the driver of something that is not an open printer.", kOpenHandle},
    {L"printer-handle-name", L"error", L"Unable to get printer name for an invalid handle!", L"",
     Weight::kProblem, L"A module asked for the name of something that is not an open printer.", kOpenHandle},
    {L"printer-driver-unknown", L"error", L"Unable to get the printer driver name for the printer!", L"",
     Weight::kFollows, L"A configuration file is named after the driver, which is not known.", kSeeReason},
    {L"printer-not-opened", L"error", L"printer %ls could not be opened. Error code: %u", L"PRINTER CODE",
     Weight::kProblem,
     L"The stock items of a printer were requested, and the spooler did not open it. The code is that "
     L"of the system; on Windows net helpmsg CODE explains it.",
     L"Check that the printer exists under this name, that the spooler runs, and that the user may use the "
     L"printer."},
};

constexpr LogMessage kConfiguration[] = {
    {L"config-text-read", L"trace", L"Successfully loaded the content of the config file", L"", Weight::kStep,
     L"The text of a configuration file was read and, if protected, decrypted.", kNormal},
    {L"config-document-parsed", L"trace", L"Successfully loaded the config file into the parser", L"",
     Weight::kStep, L"The text is well-formed XML.", kNormal},
    {L"config-loaded", L"trace", L"Successfully parsed the config file", L"", Weight::kStep,
     L"The configuration is loaded.", kNormal},
    {L"config-digest", L"warning", L"The hash value in the config file %ls is invalid!", L"FILE",
     Weight::kProblem,
     L"The file was changed after it was signed. It is used nevertheless.",
     L"Find out who changed it: orv config check FILE reports faults, orv config diff compares it with the "
     L"original. If the change was intended, orv config sign FILE updates the digest."},
    {L"config-digests", L"warning", L"File SHA256: %ls , Calculated SHA256: %ls ", L"STATED COMPUTED",
     Weight::kFollows, L"The digest that the file states, and the one of its content.", kSeeReason},
    {L"config-not-loaded", L"error", L"Unable to load the config file %ls", L"FILE", Weight::kFollows,
     L"The text of a configuration file could not be read. Without it, every request for the printer fails.",
     L"Follow the advice for the entry before it. If there is none, FILE is a folder or a device."},
    {L"config-malformed", L"error", L"Error loading the config file %ls into the parser. Details: %ls",
     L"FILE FAULT", Weight::kProblem, L"A configuration file is not well-formed XML, so it does not load.",
     L"orv xml check FILE lists every fault with its position and what to write."},
    {L"config-invalid", L"error", L"Error parsing the config file %ls. Details: %ls", L"FILE FAULT",
     Weight::kProblem, L"A section of a configuration file is missing or wrong, so the file does not load.",
     L"orv config check FILE lists every fault with its position and what to write."},
    {L"config-unknown-heads-offset", L"warning", L"Unknown property in %ls: %ls = %ls - compared %ls end",
     L"SECTION KEY VALUE KEY", Weight::kProblem,
     L"A key is not one of the section headsOffsetX, so its value is ignored.",
     L"orv config check FILE shows the place and the nearest key."},
    {L"family-without-options", L"warning", L"Option Family '%ls' has no options defined!", L"TYPE",
     Weight::kProblem, L"An option family offers no choice.",
     L"Add an option, or remove the family: orv config check FILE shows the place."},
    {L"family-unknown-property", L"warning", L"Unknown property in Option Family '%ls': %ls = %ls",
     L"TYPE KEY VALUE", Weight::kProblem, L"A key is not one of the family's options, so its value is ignored.",
     L"orv config check FILE shows the place and the nearest key."},
    {L"option-without-properties", L"warning", L"Option Family '%ls' has an option without properties!",
     L"TYPE", Weight::kProblem, L"The option is ignored.",
     L"Add its properties: orv config check FILE shows the place."},
    {L"option-without-name", L"warning",
     L"Option Family '%ls' has an option without a name. Ignoring it!", L"TYPE", Weight::kProblem,
     L"The option is ignored, even if it is the default.",
     L"Give it an optionName: orv config check FILE shows the place."},
    {L"family-without-properties", L"warning", L"Option Family without <properties> found. Ignoring it!", L"",
     Weight::kProblem,
     L"Only the missing properties are ignored: the family takes those of the family before it, including "
     L"its kind.",
     L"Add its properties: orv config check FILE shows the place."},
    {L"family-unknown", L"warning",
     L"Unknown Option Family Type in <device><optionFamilies><optionFamily><properties>: %ls", L"TYPE",
     Weight::kProblem,
     L"The optionFamilyId is not that of a family, so the family and its options are ignored.",
     L"orv config check FILE shows the place and the identifiers that exist."},
    // After those that begin like it.
    {L"config-unknown-property", L"warning", L"Unknown property in %ls: %ls = %ls", L"SECTION KEY VALUE",
     Weight::kProblem, L"A key is not one of the section, so its value is ignored.",
     L"orv config check FILE shows the place and the nearest key."},
};

constexpr LogMessage kFiles[] = {
    {L"loading-file", L"trace", L"Loading file %ls", L"FILE", Weight::kStep,
     L"The library starts to read a file, plain or protected.", kNormal},
    {L"file-missing", L"error", L"The file %ls does not exist", L"FILE", Weight::kProblem,
     L"There is no file of this name. For a configuration file, the driver's name does not match any "
     L"installed file.",
     L"orv printers config PRINTER shows which file a printer needs, and where. Install it there, or correct "
     L"the driver's name."},
    {L"file-too-large", L"error", L"The file %ls is too large", L"FILE", Weight::kProblem,
     L"The file exceeds 10,000,000 bytes, so it is not read.",
     L"It is not a configuration file, or it is damaged: install it again."},
    {L"file-not-opened", L"error", L"Unable to open the file %ls", L"FILE", Weight::kProblem,
     L"The file exists, but cannot be read, or not completely.",
     L"Check that the user of the process may read the file and its folder, and that the disk is sound."},
    {L"file-no-memory", L"error", L"Unable to allocate buffer for reading in the file %ls", L"FILE",
     Weight::kProblem, L"There was not enough memory to read the file.", kMoreMemory},
    {L"file-plain-empty", L"error",
     L"Unable to convert unencrypted file content to UTF-8 for file %ls", L"FILE", Weight::kProblem,
     L"The file is not protected, and it is empty.", L"Install it again."},
    {L"file-protected-empty", L"error",
     L"Unable to convert decrypted file content to UTF-8 for file %ls", L"FILE", Weight::kProblem,
     L"The file is protected, and its plain text is empty.", L"Protect the original again."},
    {L"cipher-not-ready", L"error", L"Error in CEncryptionAES initialization for file %ls. Error code = %d",
     L"FILE CODE", Weight::kProblem, L"There was not enough memory for the key.", kMoreMemory},
    {L"file-not-decrypted", L"error", L"Error in CEncryptionAES::DecryptAsBytes for file %ls. Error code = %d",
     L"FILE CODE", Weight::kProblem,
     L"The file is protected, and a check of its content failed: it was cut off or changed. "
     L"protected-file.md explains the codes.",
     L"Copy the file again, in binary form; orv config check FILE tests it."},
    {L"source-not-opened", L"error", L"Unable to open the source file %ls\r\n", L"FILE", Weight::kProblem,
     L"A file to protect or unprotect cannot be opened for reading and writing, or cannot be read completely.",
     L"Check that it exists, that it is not read-only, and that no other program has it open."},
    {L"source-no-memory", L"error", L"Fatal Error: Unable to allocate buffer for reading the input file!", L"",
     Weight::kProblem, L"There was not enough memory to protect or unprotect a file.", kMoreMemory},
    {L"target-not-created", L"error", L"Fatal Error: Unable to create target file %ls\r\n", L"FILE",
     Weight::kProblem,
     L"The result of protecting or unprotecting a file cannot be written: the folder does not exist or is "
     L"read-only, FILE is a folder, or another process has it open.",
     L"Choose another target, or allow writing to its folder."},
    {L"not-encrypted", L"error", L"Error %d while encrypting the content of file %ls\r\n", L"CODE FILE",
     Weight::kProblem, L"A file could not be protected; code 2 is a lack of memory.", kMoreMemory},
    {L"not-decrypted", L"error", L"Error %d while decrypting the content of file %ls\r\n", L"CODE FILE",
     Weight::kProblem,
     L"A file could not be unprotected: code 6 is a plain file, 5 one of less than 4 bytes; "
     L"protected-file.md explains the others.",
     L"Check that the file is a complete protected file."},
};

constexpr LogMessage kRequests[] = {
    {L"request-start", L"trace", L"Drevik.hrOEMDevMode START", L"", Weight::kStep,
     L"The driver starts a request about private records.", kNormal},
    {L"request-size", L"trace", L"Drevik.hrOEMDevMode END (OEMDM_SIZE, S_OK)", L"", Weight::kStep,
     L"The size of the record was returned.", kNormal},
    {L"request-default", L"trace", L"Drevik.hrOEMDevMode END (OEMDM_DEFAULT, S_OK)", L"", Weight::kStep,
     L"The printer's default record was returned.", kNormal},
    {L"request-convert", L"trace", L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, S_OK)", L"", Weight::kStep,
     L"A record was converted to the current version.", kNormal},
    {L"request-merge", L"trace", L"Drevik.hrOEMDevMode END (OEMDM_MERGE, S_OK)", L"", Weight::kStep,
     L"A record was merged with the application's settings.", kNormal},
    {L"request-without-parameter", L"error", L"Drevik.hrOEMDevMode: ERROR_INVALID_PARAMETER", L"",
     Weight::kProblem, L"A module made a request without its parameters.",
     L"Pass an OEMDMPARAM: this is a fault of the calling module."},
    {L"request-without-config", L"error", L"Drevik.hrOEMDevMode: Config not loaded!", L"", Weight::kFollows,
     L"A request failed because the printer's configuration did not load. The printer cannot print.",
     kSeeReason},
    {L"request-convert-failed", L"error", L"Drevik.hrOEMDevMode END (OEMDM_CONVERT, E_FAIL)", L"",
     Weight::kFollows, L"A record was not converted.", kSeeReason},
    {L"request-merge-failed", L"error",
     L"Drevik.hrOEMDevMode END (OEMDM_MERGE, E_FAIL in ConvertOEMDevmode)", L"", Weight::kFollows,
     L"A record was refused, so the document is not printed.", kSeeReason},
    {L"request-unknown", L"error", L"Drevik.hrOEMDevMode END (E_FAIL, Unknown mode)", L"", Weight::kProblem,
     L"A module made a request that the library does not support.",
     L"Use modules of the same release: this is a fault of the calling module."},
    {L"request-no-memory", L"error", L"Drevik.hrOEMDevMode END (E_FAIL, out of memory)", L"",
     Weight::kProblem, L"There was not enough memory for a request.", kMoreMemory},
    {L"public-differences", L"trace", L"Drevik.hrOEMDevMode: DevModeDifferences: %ls", L"DIFFERENCES",
     Weight::kStep, L"What a merge has changed in the public record.", kNormal},
    {L"public-in", L"trace", L"Drevik.hrOEMDevMode: DevModeIn  paper: %d, %d x %d", L"SIZE WIDTH LENGTH",
     Weight::kStep, L"The paper that the application asks for, in tenths of a millimetre.", kNormal},
    {L"public-in-missing", L"trace", L"Drevik.hrOEMDevMode: DevModeIn  IS NULL!!!", L"", Weight::kStep,
     L"The application passed no public record.", kNormal},
    {L"public-out", L"trace", L"Drevik.hrOEMDevMode: DevModeOut paper: %d, %d x %d", L"SIZE WIDTH LENGTH",
     Weight::kStep, L"The paper after the merge, in tenths of a millimetre.", kNormal},
    {L"suspicious-paper-size", L"warning", L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperSize %d",
     L"SIZE", Weight::kProblem,
     L"The application asks for a paper size below 0 or above 10,000. Its settings are probably uninitialised "
     L"or damaged.",
     L"Select the paper again in the application and save the document."},
    {L"suspicious-copies", L"warning", L"Drevik.hrOEMDevMode PublicDevMode suspicious Copies %d", L"COPIES",
     Weight::kProblem, L"The application asks for less than one or more than 10,000 copies.",
     L"Enter the number of copies again in the application."},
    {L"suspicious-length", L"warning", L"Drevik.hrOEMDevMode PublicDevMode suspicious PaperLength %d",
     L"LENGTH", Weight::kProblem, L"The application asks for a paper without a length.",
     L"Select the paper again in the application and save the document."},
};

constexpr LogMessage kRecords[] = {
    {L"convert-start", L"trace", L"Drevik.ConvertOEMDevmode START", L"", Weight::kStep,
     L"The library starts to check the incoming record.", kNormal},
    {L"convert-end", L"trace", L"Drevik.ConvertOEMDevmode END (TRUE)", L"", Weight::kStep,
     L"The incoming record was accepted.", kNormal},
    {L"convert-failed", L"trace", L"Drevik.ConvertOEMDevmode END (FALSE)", L"", Weight::kFollows,
     L"The incoming record was refused.", kSeeReason},
    {L"convert-without-record", L"error",
     L"Drevik.ConvertOEMDevmode END (FALSE, pOEMDevIn or pOEMDevOut is NULL)", L"", Weight::kProblem,
     L"A module made a request without a record.", L"Pass both records: this is a fault of the calling module."},
    {L"record-signature", L"error",
     L"Drevik.ConvertOEMDevMode: unknown DEVMODE signature %d => abort printing!", L"SIGNATURE",
     Weight::kProblem,
     L"The private record is not one of this driver: the settings come from another driver, or are damaged. "
     L"The document is not printed.",
     L"Open the printing preferences, save them, and print again. In a document that stores its printer "
     L"settings, select the printer again. orv devmode explain examines a record."},
    {L"version-start", L"trace", L"Drevik.ConvertOEMDevmodeVersions START", L"", Weight::kStep,
     L"The library starts to check the version of a record.", kNormal},
    {L"version-end", L"trace", L"Drevik.ConvertOEMDevmodeVersions END (TRUE)", L"", Weight::kStep,
     L"The version of the record is the current one.", kNormal},
    {L"version-failed", L"error", L"Drevik.ConvertOEMDevmodeVersions END (FALSE)", L"", Weight::kFollows,
     L"The record was refused because of its version.", kSeeReason},
    {L"version-unknown", L"error",
     L"Drevik.ConvertOEMDevmodeVersions: END (FALSE, IN-version %d is unknown for current version %d)",
     L"VERSION CURRENT", Weight::kProblem,
     L"A newer driver wrote the record. The document is not printed.",
     L"Install the same release of the driver everywhere, or select the printer again in the document."},
    {L"version-not-handled", L"error",
     L"Drevik.ConvertOEMDevmodeVersions: OEMDevMode version %d is not handled!", L"VERSION",
     Weight::kProblem,
     L"An older driver wrote the record, in a version that is not converted. The document is not printed.",
     L"Open the printing preferences and save them, and select the printer again in the document."},
    {L"repair-start", L"trace", L"Drevik.EnsureValidOEMDevmode START", L"", Weight::kStep,
     L"The library starts to validate a record.", kNormal},
    {L"repair-end", L"trace", L"Drevik.EnsureValidOEMDevmode END (TRUE)", L"", Weight::kStep,
     L"The record is valid.", kNormal},
    {L"record-corrected", L"warning", L"Drevik.EnsureValidOEMDevmode: %ls", L"CORRECTIONS",
     Weight::kHarmless,
     L"The record held values that the printer does not allow: NAME:OLD->NEW for each. They were replaced, "
     L"and the document is printed. A value that equals its fallback, as in BackFeedSpeed:0->0, is corrected "
     L"each time.",
     L"Nothing if the new values are right. Otherwise orv devmode explain names the rule of each."},
};

constexpr LogMessage kStock[] = {
    {L"stock-loading", L"info", L"Loading printer settings from registry", L"", Weight::kStep,
     L"The library starts to read the stock items.", kNormal},
    {L"stock-none", L"info", L"No User-Defined-Settings found in registry.", L"", Weight::kStep,
     L"The printer has no stock items, and there are no common ones.", kNormal},
    {L"stock-from-session", L"info", L"Successfully Loaded User-Defined-Settings from session data.", L"",
     Weight::kStep, L"The stock items were read from the session.", kNormal},
    {L"stock-loaded", L"info", L"Successfully Loaded User-Defined-Settings from the registry.", L"",
     Weight::kStep, L"The stock items were read from the registry.", kNormal},
    {L"stock-unreadable", L"error", L"Stock items could not be read from %ls: %ls", L"STORE REASON",
     Weight::kProblem,
     L"A key of the stock items cannot be read, so the printer has none until it can.",
     L"Follow the reason: allow reading the store, or restore it if it is damaged (registry.md)."},
    {L"stock-applying", L"info", L"Drevik.ApplyStockItem: Applying values for paper size %d", L"SIZE",
     Weight::kStep, L"The library chooses the stock item for a paper size.", kNormal},
    {L"stock-by-size", L"info",
     L"Drevik.ApplyStockItem:   Using stock item from paper size for paper dimensions: %d x %d",
     L"WIDTH LENGTH", Weight::kStep, L"The paper size selects a stock item.", kNormal},
    {L"stock-by-record", L"info",
     L"Drevik.ApplyStockItem:   No stock item found for given paper size. Using default stock item for paper "
     L"size %d",
     L"SIZE", Weight::kStep, L"The stock item that the record remembers is used.", kNormal},
    {L"stock-by-application", L"info",
     L"Drevik.ApplyStockItem:   Using application DevMode for paper dimensions: %d x %d", L"WIDTH LENGTH",
     Weight::kStep, L"The application's own size is used.", kNormal},
    {L"stock-not-found", L"warning",
     L"Drevik.ApplyStockItem:   No stock item found for given paper size, and no default stock item found. "
     L"Using width and length from OEMDevMode settings: %d x %d",
     L"WIDTH LENGTH", Weight::kProblem,
     L"The document asks for a stock item that was removed, so it is printed in the size of the record.",
     L"orv stock list shows the items and their numbers. Select the paper again in the document."},
    {L"stock-size-of-record", L"error",
     L"Drevik.ApplyStockItem:   Stock items could not be read. Using width and length from OEMDevMode "
     L"settings: %d x %d",
     L"WIDTH LENGTH", Weight::kFollows,
     L"The document is printed in the size of the record, with the values of no item.", kSeeReason},
    {L"stock-size-reduced", L"warning",
     L"Drevik.ApplyStockItem:   The public record cannot hold the paper dimensions %u x %u. Using %d x %d "
     L"tenths of a millimetre there",
     L"WIDTH LENGTH WIDTH LENGTH", Weight::kProblem,
     L"A stock item is longer than a public record can express. Applications see a shorter label.",
     L"Correct the item's size: orv stock edit."},
    {L"stock-no-memory", L"error", L"ApplyStockItem: out of memory", L"", Weight::kProblem,
     L"There was not enough memory to apply a stock item.", kMoreMemory},
    {L"stock-import-count", L"info", L"Number of imported layouts %ls", L"COUNT", Weight::kStep,
     L"Stock items were imported.", kNormal},
    {L"stock-import-names", L"info", L"Layouts %ls imported from registry.", L"NAMES", Weight::kStep,
     L"The names of the imported stock items.", kNormal},
};

constexpr wchar_t kReadableSession[] =
    L"Check that the user may read and write the key Session of the settings (registry.md).";
constexpr LogMessage kSession[] = {
    {L"session-parent", L"trace", L"UserData is called with parent: %ls (%ls)", L"PATH NAME", Weight::kStep,
     L"The program that started the process.", kNormal},
    {L"session-process", L"trace", L"UserData is called by process: %ls (%ls)", L"PATH NAME", Weight::kStep,
     L"The program of the process.", kNormal},
    {L"session-access", L"error, trace", L"Error accessing Session Data. Error code: %i", L"CODE",
     Weight::kProblem,
     L"The key of the session cannot be read. As a trace: the key does not exist, because no item was passed "
     L"to a session yet.",
     kReadableSession},
    {L"session-entry-not-opened", L"error", L"Error reading Session Data for process %i. Error code: %i",
     L"PROCESS CODE", Weight::kProblem, L"The session's entry of a process cannot be opened.",
     kReadableSession},
    {L"session-entry-incomplete", L"error",
     L"Error retrieveing Session Data for process %i. Error code: %i", L"PROCESS CODE", Weight::kHarmless,
     L"The session's entry of a process has no name or no time: the process was ended while it wrote them.",
     L"Nothing. If it recurs for the same process, delete the entry's key below Session."},
    {L"session-name-not-saved", L"error",
     L"Error while saving session data process name. Error code: %i", L"CODE", Weight::kProblem,
     L"The session's entry of the process cannot be written, so its stock items do not reach other "
     L"processes.",
     kReadableSession},
    {L"session-time-not-saved", L"error",
     L"Error while saving session data process creation time. Error code: %i", L"CODE", Weight::kProblem,
     L"The session's entry of the process cannot be written completely.", kReadableSession},
    {L"session-process-ended", L"error",
     L"Unable to open process for process validity check. Error code: %i", L"CODE", Weight::kHarmless,
     L"The process of a session's entry has ended, or is another user's. The entry is removed.",
     L"Nothing: this happens whenever a process ends without removing its entry."},
    {L"session-process-times", L"error", L"Unable to retrieve process times. Error code: %i", L"CODE",
     Weight::kHarmless, L"The process of a session's entry has just ended. The entry is removed.", L"Nothing."},
    {L"session-process-reused", L"error",
     L"File time not valid anymore. Creation: %i, %i   Stored: %i, %i", L"LOW HIGH LOW HIGH",
     Weight::kHarmless,
     L"The process of a session's entry has ended, and a new process has its number. The entry is removed.",
     L"Nothing."},
    {L"session-process-other", L"error",
     L"Process not valid anymore. Current name: %ls   Stored name: %ls", L"NAME STORED", Weight::kHarmless,
     L"The process of a session's entry is another program now. The entry is removed.", L"Nothing."},
};

constexpr LogMessage kPages[] = {
    {L"intermediate-image", L"trace", L"BitmapHelper: Generated intermediate image %ls", L"FILE",
     Weight::kStep,
     L"The name under which an intermediate image of a page is saved if that is switched on.", kNormal},
};
// clang-format on

constexpr LogSubject kSubjects[] = {
    {L"Printers", kPrinters},
    {L"Configurations", kConfiguration},
    {L"Files", kFiles},
    {L"Requests of the driver", kRequests},
    {L"Records", kRecords},
    {L"Stock items", kStock},
    {L"The session", kSession},
    {L"Pages", kPages},
    {L"The log itself", kLogging},
};

/// Line ends and blanks at the end of a message, which editors remove.
constexpr wchar_t kEnd[] = L" \r\n";

std::wstring_view WithoutEnd(std::wstring_view text) {
  return text.substr(0, text.find_last_not_of(kEnd) + 1);
}

/// A format, split at its placeholders.
struct Pattern {
  explicit Pattern(const LogMessage& itsMessage) : message(&itsMessage) {
    const std::wstring_view format = WithoutEnd(message->format);
    for (std::size_t at = 0; at < format.size(); ++at) {
      if (format[at] != L'%') {
        words.back() += format[at];
        continue;
      }
      ++at;
      areNumbers.push_back(format[at] != L'l');
      if (format[at] == L'l') ++at;
      words.emplace_back();
    }
  }

  const LogMessage* message;
  std::vector<std::wstring> words{{}};
  std::vector<bool> areNumbers;  ///< one for each placeholder
};

bool IsNumber(std::wstring_view text) {
  if (text.starts_with(L'-')) text.remove_prefix(1);
  return !text.empty() && text.find_first_not_of(L"0123456789") == text.npos;
}

/// The values of a message of this pattern; false if it has another one.
bool Matches(const Pattern& pattern, std::wstring_view text, std::vector<std::wstring>* values) {
  const auto& [message, words, areNumbers] = pattern;
  if (!text.starts_with(words[0])) return false;
  values->clear();
  text.remove_prefix(words[0].size());
  for (std::size_t i = 0; i < areNumbers.size(); ++i) {
    const std::wstring& next = words[i + 1];
    const bool isLast = i + 1 == areNumbers.size();
    if (isLast && !text.ends_with(next)) return false;
    const std::size_t end = isLast ? text.size() - next.size() : text.find(next);
    if (end == text.npos) return false;
    const std::wstring_view value = text.substr(0, end);
    if (areNumbers[i] && !IsNumber(value)) return false;
    values->emplace_back(value);
    text.remove_prefix(end + next.size());
  }
  return text.empty();
}

/// The length of the value that begins at a place of a message: a text in quotes, a path, or a
/// number; 0 if none does.
std::size_t ValueLength(std::wstring_view text, std::size_t at) {
  if (text[at] == L'\'' || text[at] == L'"') {
    const std::size_t end = text.find(text[at], at + 1);
    return end == text.npos ? 0 : end + 1 - at;
  }
  const bool isWordStart = at == 0 || text[at - 1] == L' ' || text[at - 1] == L'\t';
  if (isWordStart) {
    std::wstring_view word = text.substr(at, text.find_first_of(L" \t\r\n", at) - at);
    word = word.substr(0, word.find_last_not_of(L".,;:!") + 1);
    if (word.find_first_of(L"/\\") != word.npos) return word.size();
  }
  return std::min(text.find_first_not_of(L"0123456789", at), text.size()) - at;
}

MessageParts TakeApartUnknown(std::wstring_view text) {
  constexpr std::size_t kMaxLength = 500;  // the rest of a longer message counts as a value
  MessageParts parts;
  parts.words.emplace_back();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = at < kMaxLength ? ValueLength(text, at) : text.size() - at;
    if (length == 0) {
      parts.words.back() += text[at++];
      continue;
    }
    parts.values.emplace_back(text.substr(at, length));
    parts.words.emplace_back();
    at += length;
  }
  return parts;
}

/// Calls `use(subject, message)` for every message.
template <typename Use>
void ForEachMessage(Use use) {
  for (const LogSubject& subject : kSubjects) {
    for (const LogMessage& message : subject.messages) use(subject, message);
  }
}

}  // namespace

std::span<const LogSubject> LogSubjects() { return kSubjects; }

MessageParts TakeApart(std::wstring_view message) {
  static const std::vector<Pattern> kPatterns = [] {
    std::vector<Pattern> patterns;
    ForEachMessage([&](const LogSubject&, const LogMessage& row) { patterns.emplace_back(row); });
    return patterns;
  }();
  const std::wstring_view text = WithoutEnd(message);
  MessageParts parts;
  for (const Pattern& pattern : kPatterns) {
    if (!Matches(pattern, text, &parts.values)) continue;
    parts.message = pattern.message;
    parts.words = pattern.words;
    return parts;
  }
  return TakeApartUnknown(text);
}

std::wstring ShownText(const LogMessage& message) {
  const std::vector<std::wstring> words = Pattern(message).words;
  std::wstring_view names = message.names;
  std::wstring text = words[0];
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::size_t end = std::min(names.find(L' '), names.size());
    text.append(names.substr(0, end)).append(words[i]);
    names.remove_prefix(std::min(end + 1, names.size()));
  }
  return text;
}

std::wstring DocumentOf(const LogMessage& message) {
  return std::wstring(L"docs/messages.md#") + message.anchor;
}

std::string MessagesAsText() {
  Table table({L"LEVEL", L"MESSAGE"});
  ForEachMessage([&](const LogSubject&, const LogMessage& message) {
    table.Add({message.levels, ShownText(message)});
  });
  return table.TakeText();
}

std::string MessagesAsJson() {
  JsonWriter json;
  json.BeginArray();
  ForEachMessage([&](const LogSubject& subject, const LogMessage& message) {
    json.BeginObject();
    json.Member("subject", subject.title);
    json.Member("level", message.levels);
    json.Member("text", ShownText(message));
    json.Member("meaning", message.meaning);
    json.Member("advice", message.advice);
    json.Member("document", DocumentOf(message));
    json.EndObject();
  });
  json.EndArray();
  return json.Text();
}

std::string MessagesAsMarkdown() {
  std::wstring text =
      L"# Messages of the log\n\n"
      L"Every message that the library writes to the log, with its level, what it means and what "
      L"to do.\n[log-format.md](log-format.md) describes the file. `orv log summary` groups the "
      L"entries of a log by these\nmessages and shows the advice for each. `orv log messages "
      L"--markdown` prints this page. The driver's\nother modules write messages of their own.\n"
      L"\nWords in capitals are values; codes are those of the system, which `net helpmsg CODE` "
      L"explains on Windows.\n";
  const LogSubject* subject = nullptr;
  ForEachMessage([&](const LogSubject& itsSubject, const LogMessage& message) {
    if (subject != &itsSubject) text += std::wstring(L"\n## ") + itsSubject.title + L"\n";
    subject = &itsSubject;
    text += std::wstring(L"\n### ") + message.anchor + L"\n\n```\n" + ShownText(message) +
            L"\n```\n\nLevel: " + message.levels + L".\n\n" + Wrapped(message.meaning, L"", 110) +
            L"\n" + Wrapped(std::wstring(L"**What to do:** ") + message.advice, L"", 110);
  });
  return WideToUtf8(text);
}

}  // namespace orv::tool
