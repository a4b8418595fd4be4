#include "tests/faults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "devmode/record_fields.h"
#include "orv/c_api.h"
#include "orv/config/configs_cache.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/devmode/stock_items.h"
#include "orv/imaging/bitmap_helper.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/session/session_data.h"
#include "orv/settings/settings.h"
#include "platform/files.h"
#include "platform/heap.h"
#include "platform/modules.h"
#include "platform/png_resolution.h"
#include "tests/devmode_fixture.h"
#include "tests/fixtures.h"
#include "tests/xml_fixture.h"

/// Fault injection: each operation runs with its first, second, ... allocation, system call or
/// write failing, alone and with all later ones, until it succeeds without a fault. It must end in
/// one of its documented ways, without data loss, leaks or partial results, and the next call must
/// work.

namespace orv::test {
namespace {

using faults::Kind;
using faults::Mode;

/// The ways in which an operation may end, as bits.
enum Ending : unsigned {
  kDone = 1,
  kFailed = 2,     ///< it reported the failure as documented
  kNoMemory = 4,   ///< it threw `std::bad_alloc`
  kNoSize = 8,     ///< it threw `std::filesystem::filesystem_error`
  kInternal = 16,  ///< it returned `ORV_ERROR_INTERNAL`
};

struct Operation {
  std::string name;
  unsigned withoutMemory;   ///< allowed endings when an allocation fails
  unsigned withoutService;  ///< and when a system call or a write fails
  /// Restores the initial state.
  std::function<void()> prepare;
  /// Runs the operation, and allocates nothing else.
  std::function<Ending()> run;
  /// Returns what is wrong after an ending; empty if nothing is. `isWhole` means that no system
  /// call has failed, so that a result must be the correct one.
  std::function<std::string(Ending, bool isWhole)> findWrong;
};

const char* NameOf(Kind kind) {
  return kind == Kind::kAllocation ? "allocation" : kind == Kind::kCall ? "call" : "short write";
}

/// Runs an operation with one plan. Returns whether a fault occurred.
bool RunWith(const Operation& operation, const faults::Plan& plan) {
  const auto wrong = [&](const std::string& what) {
    ADD_FAILURE() << operation.name << ": " << what << ", " << NameOf(plan.kind) << ' ' << plan.n
                  << (plan.mode == Mode::kOnce ? " once" : " and on");
  };
  operation.prepare();
  Ending ending = kNoMemory;
  bool hasFired = false;
  {
    const faults::Armed armed(plan);
    try {
      ending = operation.run();
    } catch (const std::bad_alloc&) {
    } catch (const std::filesystem::filesystem_error&) {
      ending = kNoSize;
    }
    hasFired = armed.HasFired();
  }
  const unsigned allowed = !hasFired                        ? kDone
                           : plan.kind == Kind::kAllocation ? operation.withoutMemory
                                                            : operation.withoutService;
  if ((allowed & ending) == 0) wrong("ends with " + std::to_string(ending));
  const bool isWhole = !hasFired || plan.kind == Kind::kAllocation;
  if (const std::string what = operation.findWrong(ending, isWhole); !what.empty()) wrong(what);
  return hasFired;
}

/// Runs with the n-th fault alone, with all from the n-th on, and then without faults. Returns
/// false if no fault occurred.
bool RunPlans(const Operation& operation, Kind kind, int n) {
  bool hasFired = RunWith(operation, {kind, n, Mode::kOnce});
  hasFired |= RunWith(operation, {kind, n, Mode::kFromThenOn});
  RunWith(operation, {kind, std::numeric_limits<int>::max(), Mode::kOnce});
  return hasFired;
}

/// `Sweep` tries each fault, or every third one.
#if defined(_WIN32) || defined(ORV_SANITIZED)
constexpr int kStep = 3;
#else
constexpr int kStep = 1;
#endif

/// Runs an operation with each fault of these kinds, or with every `step`-th. Samples every third
/// of them where a run takes several times as long: under sanitizers, and where the settings store
/// is another process.
void Sweep(const Operation& operation, std::span<const Kind> kinds = faults::kKinds, int step = 1) {
  step *= kStep;
  // Lookups that are cached per process must not cache a failure.
  for (const Kind kind : kinds) {
    for (int n = 1; RunWith(operation, {kind, n, Mode::kFromThenOn}); n += step) {
    }
  }
  long blocks = faults::LiveBlocks();
  long files = faults::OpenFiles();
  for (const Kind kind : kinds) {
    for (int n = 1; RunPlans(operation, kind, n) && !testing::Test::HasFailure(); n += step) {
      // Caches may have been filled or emptied; a leak continues.
      constexpr int kMaxRepeats = 3;
      const auto isSame = [&] {
        return faults::LiveBlocks() == blocks && faults::OpenFiles() == files;
      };
      for (int repeat = 0; repeat < kMaxRepeats && !isSame(); ++repeat) {
        blocks = faults::LiveBlocks();
        files = faults::OpenFiles();
        RunPlans(operation, kind, n);
      }
      EXPECT_TRUE(isSame()) << operation.name << ", " << NameOf(kind) << ' ' << n << ": "
                            << faults::LiveBlocks() - blocks << " blocks and "
                            << faults::OpenFiles() - files << " files more";
    }
  }
}

Ending EndingOf(bool isDone) { return isDone ? kDone : kFailed; }

class Faults : public testing::Test {
 protected:
  Faults() {
    SetDiagnosticSink([](const char*) {});
    CLogger::m_nLoglevel = 15;
    CLogger::m_bWriteLogToDebug = 0;
    CLogger::m_bWriteLogToFile = 1;
    CLogger::m_stDesiredLogPath = LogFolder().Name();
    CLogger::LOG_ERROR(nullptr, L"The folder of the log is chosen now.", nullptr);
  }
  ~Faults() override {
    ReleaseSessionDataInstance();
    ConfigsCache::ReleaseInstance();
    SetDiagnosticSink(nullptr);
  }

  /// A record with a configuration's defaults, as bytes.
  static std::string DefaultsOf(const Config& config) {
    tagOEMDEV record{};
    FillDefaults(config, &record);
    return Bytes(record);
  }

  ScratchRegistry registry_;
  ModuleFolder module_;
  const std::wstring config_ = module_.folder().Name(kTestConfigName);
  ConfigsCache* const cache_ = ConfigsCache::GetInstance();
};

// --- Protected files ---

TEST_F(Faults, ProtectsAFile) {
  const std::wstring source = module_.folder().Name(L"source");
  const std::wstring target = module_.folder().Name(L"target");
  const std::string plain = "<a>a text of more than one block</a>";
  const std::string old = "old";
  WriteBytes(ToPath(source), plain);
  const auto prepare = [&] { WriteBytes(ToPath(target), old); };
  const auto matches = [&](Ending ending, bool isWhole, const auto& hasContent) -> std::string {
    std::error_code error;
    const bool isThere = std::filesystem::exists(ToPath(target), error);
    const std::string now = isThere ? ReadBytes(ToPath(target)) : "";
    if (isWhole) return (ending == kDone ? hasContent(now) : now == old) ? "" : "another target";
    // The old target is deleted first, and the write of the new one is not checked.
    return ending == kDone || now == old || now.empty() ? "" : "a target after a failure";
  };
  Sweep({"protect", kDone | kFailed, kDone | kFailed | kNoSize, prepare,
         [&] { return EndingOf(CCryptoHelper::AesEncryptFile(source, target, nullptr) == 0); },
         [&](Ending ending, bool isWhole) {
           return matches(ending, isWhole, [&](const std::string&) {
             return CCryptoHelper::LoadFileUTF8(target, nullptr) == Utf8ToWide(plain);
           });
         }});
  ASSERT_EQ(CCryptoHelper::AesEncryptFile(source, source, nullptr), 0u);
  Sweep({"unprotect", kFailed, kDone | kFailed | kNoSize, prepare,
         [&] { return EndingOf(CCryptoHelper::AesDecryptFile(source, target, nullptr) == 0); },
         [&](Ending ending, bool isWhole) {
           return matches(ending, isWhole, [&](const std::string& now) { return now == plain; });
         }});
}

TEST_F(Faults, EncryptsBytesOrTellsTheCode) {
  DWORD code = 0;
  bool isTold = false;
  Sweep({"encrypt", kDone | kFailed | kNoMemory, kDone | kFailed, [&] { code = 0; },
         [&] {
           CEncryptionAES cipher("key", "CNF");
           DWORD length = 0;
           const HeapBuffer bytes(
               cipher.EncryptAsBytes(reinterpret_cast<const BYTE*>("text"), 4, &length));
           code = cipher.m_nErrorCode;
           return EndingOf(bytes != nullptr);
         },
         [&](Ending ending, bool) {
           // 2: memory ran out for the initialization vector.
           isTold |= code == 2;
           return code == 0 || (code == 2 && ending == kFailed) ? "" : "another code";
         }});
  EXPECT_TRUE(isTold || kStep > 1);
}

TEST_F(Faults, ComputesADigestOrFails) {
  const CString text(100, L'x');
  const CString salt = L"salt";
  CString digest;
  Sweep({"digest", kFailed, kFailed, [&] { digest.clear(); },
         [&] {
           digest = ComputeSha256Hex(text, salt);
           return EndingOf(!digest.empty());
         },
         [&](Ending ending, bool) {
           const bool isRight =
               digest == L"8fad875daa209aee1d4a077ce632b8131c1919ab08850eb8de88141a257ce663";
           return ending != kDone || isRight ? "" : "another digest";
         }});
}

// --- Configurations ---

TEST_F(Faults, LoadsAConfigurationOrFails) {
  const std::wstring protectedConfig = module_.folder().Name(L"protected.xml");
  ASSERT_EQ(CCryptoHelper::AesEncryptFile(config_, protectedConfig, nullptr), 0u);
  const std::string expected = DefaultsOf(*module_.Load());
  for (const std::wstring& path : {config_, protectedConfig}) {
    for (ConfigsCache* const cache : {static_cast<ConfigsCache*>(nullptr), cache_}) {
      Config* config = nullptr;
      Sweep({"load " + WideToUtf8(path), kDone | kFailed | kNoMemory, kDone | kFailed,
             [&] { cache_->Clear(); },
             [&] { return EndingOf(CConfigParser::Load(path, &config, cache, nullptr)); },
             [&](Ending ending, bool) -> std::string {
               const std::unique_ptr<Config> owned(cache == nullptr ? config : nullptr);
               if ((ending == kDone) != (config != nullptr)) return "a record after a failure";
               if (cache != nullptr && cache->GetConfig(path) != config)
                 return "another in the cache";
               return config == nullptr || DefaultsOf(*config) == expected ? ""
                                                                           : "a part of a record";
             }});
      if (HasFailure()) return;
    }
  }
}

// --- Documents ---

TEST_F(Faults, SavesADocumentCompletelyOrNotAtAll) {
  using std::filesystem::perms;
  const TemporaryFolder folder;
  const std::filesystem::path file = folder.path() / "document.xml";
  // Through a symbolic link, where the system has them.
  std::filesystem::path link = module_.folder().path() / "link.xml";
  std::error_code noLinks;
  std::filesystem::create_symlink(file, link, noLinks);
  const std::wstring path = FromPath(noLinks ? file : link);
  const std::string old = "<old/>";
  CMarkup document(L"<a>\r\n<b c=\"\u00e9\">text</b>\r\n</a>\r\n");
  const std::string saved = WideToUtf8(document.GetDoc());
  long notRemoved = faults::FilesNotRemoved();
  const auto prepare = [&] {
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
      std::filesystem::remove(entry.path());
    }
    WriteBytes(file, old);
    std::filesystem::permissions(file, perms::owner_read | perms::owner_write);
  };
  const auto findWrong = [&](Ending ending, bool) -> std::string {
    const long files = std::distance(std::filesystem::directory_iterator(folder.path()), {});
    const long left = faults::FilesNotRemoved() - notRemoved;
    notRemoved += left;
    if (files > 1 + left) return "a file is left over";
    if (!noLinks && !std::filesystem::is_symlink(link)) return "no link any more";
    constexpr perms kOthers = perms::group_all | perms::others_all;
    const perms rights = std::filesystem::status(file).permissions();
    if (!noLinks && (rights & kOthers) != perms::none) return "other rights";
    const std::string now = ReadBytes(file);
    // The message about a new file may need memory too.
    const bool isRight =
        now == (ending == kDone ? saved : old) || (ending == kNoMemory && now == saved);
    return isRight ? "" : "another file";
  };
  Sweep({"save", kDone | kFailed | kNoMemory, kDone | kFailed, prepare,
         [&] { return EndingOf(document.Save(path)); }, findWrong});
  Sweep({"save in parts", kFailed | kNoMemory, kDone | kFailed, prepare,
         [&] {
           CMarkup parts;
           if (!parts.Open(path, CMarkup::DOC_WRITEFILE)) return kFailed;
           parts.AddElem(L"a");
           parts.IntoElem();
           parts.AddElem(L"b", L"text");
           parts.SetAttrib(L"c", L"\u00e9");
           parts.Flush();
           return EndingOf(parts.Close());
         },
         findWrong});
}

TEST_F(Faults, AppendsInTheFilesEncodingOrFails) {
  // Not short writes: of one byte none would be written, which the C++ library repeats for ever.
  constexpr Kind kKinds[] = {Kind::kAllocation, Kind::kCall};
  const std::wstring path = module_.folder().Name(L"appended.xml");
  const std::string old = Utf16Bytes(L"\uFEFF<a/>");
  const std::string whole = old + Utf16Bytes(L"<b/>");
  Sweep({"append", kFailed | kNoMemory, kDone | kFailed, [&] { WriteBytes(ToPath(path), old); },
         [&] {
           CMarkup parts;
           if (!parts.Open(path, CMarkup::DOC_APPENDFILE)) return kFailed;
           parts.AddElem(L"b", L"", CMarkup::ADD_NOLINES);
           return EndingOf(parts.Close());
         },
         [&](Ending ending, bool) {
           const std::string now = ReadBytes(ToPath(path));
           const bool isPart = whole.starts_with(now) && now.starts_with(old);
           return now == whole || (isPart && ending != kDone) ? "" : "another file";
         }},
        kKinds);
}

TEST_F(Faults, ReadsALongNodeAgainAfterAFailure) {
  constexpr Kind kAllocations[] = {Kind::kAllocation};
  const std::string text(100000, 'x');
  const std::wstring path = module_.folder().Name(L"long.xml");
  WriteBytes(ToPath(path), "<!--" + text + "--><a b='" + text + "'/>");
  for (const int type : {CMarkup::NODE_COMMENT, CMarkup::NODE_ELEMENT}) {
    std::unique_ptr<CMarkup> document;
    const auto read = [&] {
      return type == CMarkup::NODE_ELEMENT ? document->GetAttrib(L"b") : document->GetData();
    };
    Sweep({"read a long node", kNoMemory, kDone,
           [&] {
             document = std::make_unique<CMarkup>();
             document->Open(path, CMarkup::DOC_READFILE);
             document->FindNode(type);
           },
           [&] {
             read();
             return kDone;
           },
           [&](Ending, bool) { return read() == Utf8ToWide(text) ? "" : "a part of the data"; }},
          kAllocations);
  }
}

/// Calls a function again after each failure, for as long as there may be one more.
template <class Call>
auto Retry(Call call) {
  for (int failures = 0;; ++failures) {
    try {
      return call();
    } catch (const std::bad_alloc&) {
      if (failures == 2) throw;
    }
  }
}

TEST_F(Faults, LosesNoPartOfAFileWhenACallIsRepeated) {
  constexpr Kind kAllocations[] = {Kind::kAllocation};
  constexpr int kElements = 70;
  const std::wstring path = module_.folder().Name(L"parts.xml");
  const std::wstring value(1000, L'\u00e9');
  const std::wstring name = L"an_element_with_a_long_name";
  const auto write = [&](CMarkup& doc) {
    Retry([&] {
      return doc.AddNode(CMarkup::NODE_PROCESSING_INSTRUCTION,
                         L"xml version=\"1.0\" encoding=\"utf-16\"");
    });
    for (int i = 0; i < kElements; ++i) Retry([&] { return doc.AddElem(name, value); });
  };
  CMarkup whole;
  write(whole);
  ASSERT_TRUE(whole.Save(path));
  const std::string expected = ReadBytes(ToPath(path));
  // The mark, the first part, and every later one.
  Sweep({"write in parts", kDone | kNoMemory, kDone, [&] { std::filesystem::remove(ToPath(path)); },
         [&] {
           CMarkup parts;
           if (!Retry([&] { return parts.Open(path, CMarkup::DOC_WRITEFILE); })) return kFailed;
           write(parts);
           return EndingOf(parts.Close());
         },
         [&](Ending ending, bool) {
           return ending != kDone || ReadBytes(ToPath(path)) == expected ? "" : "another file";
         }},
        kAllocations);
  WriteBytes(ToPath(path), expected);
  int elements = 0;
  Sweep({"read in parts", kDone | kNoMemory, kDone, [&] { elements = 0; },
         [&] {
           CMarkup parts;
           Retry([&] { return parts.Open(path, CMarkup::DOC_READFILE); });
           while (Retry([&] { return parts.FindElem(); })) ++elements;
           return kDone;
         },
         [&](Ending ending, bool) {
           return ending != kDone || elements == kElements ? "" : "an element is left out";
         }},
        kAllocations);
}

TEST_F(Faults, ReadsADocumentCompletelyOrNotAtAll) {
  constexpr int kElements = 30;
  CMarkup text(L"<a/>");
  text.FindElem();
  for (int i = 0; i < kElements; ++i) text.AddChildElem(L"b", L"some text");
  const std::wstring path = module_.folder().Name(L"read.xml");
  ASSERT_TRUE(text.Save(path));
  std::unique_ptr<CMarkup> document;
  const auto findWrong = [&](Ending ending, bool) -> std::string {
    // Whatever was loaded can be traversed, and replaced with another text.
    int elements = 0;
    document->ResetPos();
    while (document->FindElem()) {
      if (document->GetElemOffset() >= static_cast<int>(document->GetDoc().size())) {
        return "an element outside the text";
      }
      ++elements;
    }
    while (document->FindChildElem()) ++elements;
    document->IntoElem();
    while (document->FindElem()) ++elements;
    return ending != kDone || document->GetDoc() == text.GetDoc() ? "" : "another text";
  };
  // The old document is longer than the new one, with its elements at its end.
  const std::wstring before =
      L"<!--" + std::wstring(text.GetDoc().size(), L'x') + L"--><c><d/></c>";
  const auto prepare = [&] { document = std::make_unique<CMarkup>(before); };
  Sweep({"load a document", kFailed | kNoMemory, kDone | kFailed, prepare,
         [&] { return EndingOf(document->Load(path)); }, findWrong});
  Sweep({"parse", kFailed | kNoMemory, kDone, prepare,
         [&] { return EndingOf(document->SetDoc(text.GetDoc())); }, findWrong});
  const CMarkup& other = text;
  Sweep({"copy", kNoMemory, kDone, prepare,
         [&] {
           *document = other;
           return kDone;
         },
         findWrong});
  Sweep({"read in parts", kFailed | kNoMemory, kDone | kFailed, prepare,
         [&] {
           int elements = 0;
           if (!document->Open(path, CMarkup::DOC_READFILE)) return kFailed;
           if (document->FindElem() && document->IntoElem()) {
             while (document->FindElem() && document->GetData() == L"some text") ++elements;
           }
           const bool isClosed = document->Close();
           return EndingOf(isClosed && elements == kElements);
         },
         [&](Ending, bool) {
           document->Close();
           return "";
         }});
  // Each leaves the document as it was, or is complete; the last one may leave it without elements.
  using Edit = bool (*)(CMarkup&);
  struct {
    const wchar_t* markup;
    Edit run;
  } const edits[] = {
      {L"<a><b/></a>", [](CMarkup& d) { return d.AddChildSubDoc(L"<c><d>1</d><!-- --><e/></c>"); }},
      {L"<a><b/></a>", [](CMarkup& d) { return d.SetElemContent(L"<c/><d><e/></d>"); }},
      {L"<a/>", [](CMarkup& d) { return d.SetElemContent(L"<c/><d><e/></d>"); }},
      {L"<a><b/></a><!x>", [](CMarkup& d) { return d.AddChildElem(L"c", L"text"); }},
  };
  for (const auto& edit : edits) {
    CMarkup expected(edit.markup);
    expected.FindElem();
    edit.run(expected);
    Sweep({"change an index", kNoMemory, kDone,
           [&] {
             document = std::make_unique<CMarkup>(edit.markup);
             document->FindElem();
             document->SavePos();
           },
           [&] { return EndingOf(edit.run(*document)); },
           [&](Ending ending, bool) -> std::string {
             const std::wstring now = document->GetDoc();
             const bool isChanged = now == expected.GetDoc();
             if (!isChanged && (ending == kDone || now != edit.markup)) return "another text";
             if (const std::wstring fault = test::IndexFault(*document); !fault.empty()) {
               return WideToUtf8(fault);
             }
             document->RestorePos();
             document->FindChildElem();
             const bool isIndexed = test::DumpIndex(*document) == test::DumpIndex(CMarkup(now));
             bool isDropped = !document->IsWellFormed() && !document->FindElem();
             CMarkup copy(*document);
             if (isDropped && copy.AddElem(L"e")) {  // makes a new index
               isDropped = test::DumpIndex(copy) == test::DumpIndex(CMarkup(copy.GetDoc()));
             }
             document->SetDoc(nullptr);
             return isIndexed || (ending == kNoMemory && isDropped) ? "" : "another index";
           }});
  }
  Sweep({"edit", kNoMemory, kDone, [&] { document = std::make_unique<CMarkup>(text); },
         [&] {
           document->FindElem();
           document->AddChildElem(L"new", L"text that is longer than what is held in place & more");
           document->AddChildAttrib(L"name", L"value");
           document->FindElem();
           document->RemoveElem();
           return kDone;
         },
         [&](Ending, bool) {
           findWrong(kFailed, false);
           document->SetDoc(nullptr);
           return "";
         }});
}

// --- Pages ---

TEST_F(Faults, CreatesBitmapsOrFails) {
  const GraphicsSession graphics;
  using Page = std::unique_ptr<Bitmap>;
  const Page page(BitmapHelper::CreateBitmap(40, 30, PixelFormat24bppRGB));
  const Page grey(BitmapHelper::CreateBitmap(40, 30, PixelFormat8bppIndexed));
  const std::wstring path = module_.folder().Name(L"page.png");
  ASSERT_EQ(SavePng(page.get(), path.c_str()), Ok);
  Color red(0xFFE02020);
  Color black(0xFF000000);
  Bitmap* made = nullptr;
  Bitmap* second = nullptr;
  std::string encoded;
  // Each returns whether it created a bitmap.
  std::vector<std::pair<const char*, std::function<bool()>>> makers = {
      {"create", [&] { return (made = BitmapHelper::CreateBitmap(9, 9, PixelFormat1bppIndexed)); }},
      {"load a page", [&] { return LoadPng(path.c_str(), &made) == Ok; }},
      {"save a page", [&] { return SavePng(page.get(), path.c_str()) == Ok; }},
      {"encode a page", [&] { return EncodePng(page.get(), {}, &encoded) == Ok; }},
      {"copy a page", [&] { return (made = grey->Clone(0, 0, 40, 30, PixelFormat8bppIndexed)); }},
  };
  for (int method = 0; method <= 5; ++method) {
    const auto ditherer = static_cast<eBitmapDitherer>(method);
    for (Bitmap* const source : {page.get(), grey.get()}) {
      makers.push_back({"dither", [&, ditherer, source] {
                          return (made = BitmapRasterizer::Dither(source, ditherer, 128, black));
                        }});
      makers.push_back({"split", [&, ditherer, source] {
                          return BitmapHelper::SplitImage(source, red, 0.1, ditherer, 128, &made,
                                                          &second) == 1;
                        }});
    }
  }
  for (const auto& maker : makers) {
    Sweep({maker.first, kFailed, kDone | kFailed, [&] { made = second = nullptr; },
           [&] { return EndingOf(maker.second()); },
           [&](Ending ending, bool) -> std::string {
             const Page first(made);
             const Page other(second);
             return ending == kDone || (made == nullptr && second == nullptr) ? "" : "a bitmap";
           }});
  }
}

#if !defined(_WIN32) && !defined(ORV_SANITIZED)
TEST_F(Faults, FreesTheMemoryOfDeletedBitmapsForNewOnes) {
  for (const int failing : {1, 2}) {  // the object and its pixels
    BitmapHelper::DeleteBitmap(BitmapHelper::CreateBitmap(500, 400, PixelFormat24bppRGB));
    const faults::Armed armed({Kind::kAllocation, failing, Mode::kOnce});
    const std::unique_ptr<Bitmap> made(BitmapHelper::CreateBitmap(400, 400, PixelFormat24bppRGB));
    EXPECT_EQ(made != nullptr, failing == 2);
    EXPECT_TRUE(armed.HasFired());
  }
}
#endif

// --- The log ---

TEST_F(Faults, LogsWholeLinesOnly) {
  CLoggerClient client;
  client.m_stModuleName = L"caller.dll";
  const auto begin = [&] {
    ClearLogs();
    CLogger::LOG_ERROR(&client, L"The line in front.", nullptr);
  };
  int lines = 0;
  // Every line has its seven columns and its line end.
  const auto findWrong = [&lines](Ending, bool) -> std::string {
    const std::string end = Utf16Bytes(L"\r\n");
    for (const auto& entry : std::filesystem::directory_iterator(LogFolder().path())) {
      const std::string bytes = ReadBytes(entry.path());
      for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t lineEnd = bytes.find(end, at);
        if (lineEnd == bytes.npos) return "a line without an end";
        if (std::count(&bytes[at], &bytes[lineEnd], '\t') != 6) return "a torn line";
        at = lineEnd + end.size();
        ++lines;
      }
    }
    return "";
  };
  for (const std::function<void()>& prepare : {std::function<void()>(ClearLogs), {begin}}) {
    Sweep({"log", kDone, kDone, prepare,
           [&] {
             LogFormat(eLogLevelError, &client, L"A source", L"%d of a message of some length", 7);
             return kDone;
           },
           findWrong});
    EXPECT_GT(std::exchange(lines, 0), 0);
  }
  std::unique_ptr<CLoggerClient> found;
  for (const HINSTANCE module : {OwnModule(), HINSTANCE{}}) {
    Sweep({"find a client's module", kDone | kFailed, kDone | kFailed,
           [&] { found = std::make_unique<CLoggerClient>(); },
           [&] {
             found->Initialize(module);
             return EndingOf((found->HasError() != 0) == (module == nullptr));
           },
           [&](Ending, bool) {
             const bool isEmpty = found->m_stModulePath.empty() && found->m_stModuleName.empty() &&
                                  found->m_stModuleFolder.empty();
             return isEmpty == (found->HasError() != 0) ? "" : "a part of a client";
           }});
  }
  SetSetting(HKEY_CURRENT_USER, L"Test", L"LogGroups", L"#Group#Other#");
  SetSetting(HKEY_CURRENT_USER, L"Test", L"LogPath", LogFolder().Name());
  Sweep({"start logging", kDone, kDone, begin,
         [&] {
           CLogger::StartLogging(&client);
           CLogger::Log(eLogLevelTrace, &client, L"in a group", L"none#other");
           CLogger::StopLogging(&client);
           return kDone;
         },
         findWrong});
  EXPECT_GT(lines, 0);
  CLogger::m_stLogGroups.clear();
}

// --- Requests for a printer: the settings store, the session, the stock items ---

class RequestFaults : public Faults {
 protected:
  RequestFaults() {
    CLogger::m_bWriteLogToFile = 0;  // LogsWholeLinesOnly covers it, and it takes most of the time
    for (int i = 0; i < 2; ++i) {
      StockItem item;
      item.guid = {static_cast<std::uint32_t>(i + 1), 0, 0, {}};
      item.DisplayName = L"A stock of some name " + std::to_wstring(i);
      item.PaperWidth = 50000;
      EXPECT_EQ(WriteStockItem(i == 0 ? std::wstring(kCommonStockItemsPath) : items_, item),
                ERROR_SUCCESS);
    }
    EXPECT_TRUE(SaveSession(L"4000000001") && SaveSession(ownKey_));
  }

  TestPrinter printer_{L"Label 1", kTestDriver};
  const std::wstring items_ = StockItemsPath(L"Label 1", kTestDriver);
  const std::wstring ownKey_ = std::to_wstring(OwnProcessId());
};

TEST_F(RequestFaults, SetsAValueOrKeepsTheOldOne) {
  const std::wstring old = L"the old value of some length";
  const std::wstring changed = L"the new value of some length";
  const auto write = [](const std::wstring& text) {
    return SetUserValue(L"Key", L"Value", RegistryValue::FromText(text));
  };
  Sweep({"set a value", kFailed | kNoMemory, kDone | kFailed, [&] { EXPECT_TRUE(write(old)); },
         [&] { return EndingOf(write(changed)); },
         [&](Ending ending, bool) {
           const std::wstring now = UserText(L"Key", L"Value");
           // A later step may report a failure although the value was written.
           return now == changed || (now == old && ending != kDone) ? "" : "another value";
         }});
}

TEST_F(RequestFaults, CleansUpSessions) {
  const std::wstring incomplete = L"4000000005";
  SetUserValue(SessionPath(incomplete), L"ProcessName", RegistryValue::FromText(L"x"));
  Sweep({"clean up", kDone | kFailed, kDone,
         [&] { EXPECT_TRUE(SaveSession(L"4000000001") && SaveSession(ownKey_)); },
         [&] { return EndingOf(CleanupRegSessionData(L"Label 1", L"driver") == 1); },
         [&](Ending ending, bool isWhole) {
           if (!HasUserKey(SessionPath(incomplete))) return "what tells of no process is gone";
           if (isWhole && !HasUserKey(SessionPath(ownKey_)))
             return "the session of a process that runs is gone";
           if (isWhole && ending == kDone && HasUserKey(SessionPath(L"4000000001")))
             return "that of an ended one stays";
           CleanupRegSessionData(L"Label 1", L"driver");
           if (HasUserKey(SessionPath(L"4000000001")))
             return "what could not be read is not read again";
           // A process that cannot be queried counts as ended; it can save its session again.
           if (!SaveSession(ownKey_)) return "the session cannot be saved again";
           CleanupRegSessionData(L"Label 1", L"driver");
           return HasUserKey(SessionPath(ownKey_)) && !HasUserKey(SessionPath(L"4000000001"))
                      ? ""
                      : "the next clean-up does something else";
         }});
  std::uint32_t answer = 0;
  Sweep({"find the session out", kDone | kFailed, kDone, [&] { answer = 7; },
         [&] {
           return EndingOf(ReloadSessionInfo() == 1 &&
                           GetSessionReadUDS(&answer, L"Label 1", L"driver") == 1 &&
                           GetSessionWriteUDS(&answer) == 1);
         },
         [&](Ending ending, bool isWhole) {
           // Without its own entry, which may be unreadable, a process reads the session's items
           // too.
           return !isWhole || ending != kDone || answer == 0 ? ""
                                                             : "it counts as a host of the system";
         }});
  Sweep({"find out whether the session has items", kDone | kFailed, kDone,
         [&] {
           ReleaseSessionDataInstance();
           GetSessionProcessId(&answer);  // creates the object
           answer = 7;
         },
         [&] { return EndingOf(GetSessionReadUDS(&answer, L"Label 1", L"driver") == 1); },
         [&](Ending, bool) { return answer <= 1 ? "" : "the answer is missing"; }});
}

TEST_F(RequestFaults, SavesASessionOrSaysThatItCannot) {
  const std::wstring path = SessionPath(ownKey_);
  Sweep({"save a session", kDone | kFailed | kNoMemory, kDone | kFailed,
         [&] { DeleteRegistryTree(HKEY_CURRENT_USER, path); },
         [&] { return EndingOf(SaveSession(ownKey_)); },
         [&](Ending ending, bool) {
           RegistryKey key;
           RegistryValue time;
           key.Open(HKEY_CURRENT_USER, path, RegistryAccess::kRead);
           GetRegistryValue(key.get(), L"CreationTime", &time);
           const bool isSaved = !UserText(path, L"ProcessName").empty() && time.data.size() == 8;
           return isSaved || ending != kDone ? "" : "a value is missing";
         }});
}

TEST_F(RequestFaults, ReadsTheStoreOrSaysThatItCannot) {
  SetSetting(HKEY_CURRENT_USER, L"Test", L"Name", L"text");
  struct Reader {
    const char* name;
    std::size_t expected;
    LONG (*read)(HANDLE printer, std::size_t* found);
  };
  constexpr Reader kReaders[] = {
      {"stock items of a printer", 2,
       [](HANDLE printer, std::size_t* found) -> LONG {
         const StockList list = LoadStockItems(printer, L"Label 1", nullptr);
         *found = list.items.size();
         if (list.openError) return static_cast<LONG>(*list.openError);
         return list.failure ? list.failure->error : ERROR_SUCCESS;
       }},
      {"a setting", 4,
       [](HANDLE, std::size_t* found) -> LONG {
         std::wstring text;
         const LONG result = ReadSetting(L"Test", L"Name", &text);
         *found = text.size();
         return result;
       }},
      {"the printers", 1,
       [](HANDLE, std::size_t* found) -> LONG {
         std::vector<PrinterFacts> printers;
         const LONG result = ListSpoolerPrinters(&printers);
         *found = static_cast<std::size_t>(
             std::ranges::count(printers, L"Label 1", &PrinterFacts::printerName));
         return result;
       }},
  };
  DWORD changes = 0;
  for (const Reader& reader : kReaders) {
    std::size_t found = 0;
    LONG result = ERROR_SUCCESS;
    Sweep({reader.name, kDone | kFailed | kNoMemory, kDone | kFailed,
           // So that nothing that was kept is current.
           [&] {
             for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
               SetSetting(hive, L"Test", L"Changes", std::to_wstring(++changes));
             }
             found = 0;
           },
           [&] {
             result = reader.read(printer_.handle(), &found);
             return EndingOf(result == ERROR_SUCCESS);
           },
           [&](Ending ending, bool) -> std::string {
             if (ending == kDone) return found == reader.expected ? "" : "something is missing";
             return ending == kNoMemory || result != ERROR_FILE_NOT_FOUND ? ""
                                                                          : "it counts as missing";
           }});
  }
}

Ending EndingInC(std::int32_t code) {
  switch (code) {
    case ORV_OK:
      return kDone;
    case ORV_ERROR_MEMORY:
      return kNoMemory;
    case ORV_ERROR_INTERNAL:
      return kInternal;
    default:
      return kFailed;
  }
}

/// Every output of the C interface.
struct OutputInC {
  std::uint16_t text[1 << 15];
  std::uint32_t length;
  std::int32_t numbers[16];
  unsigned char bytes[100];
  unsigned char record[ORV_RECORD_SIZE];
  unsigned char application[ORV_PUBLIC_RECORD_SIZE];
  orv_stock_item items[4];
};

TEST_F(RequestFaults, ReportsFailuresInC) {
  const auto units = [](const std::wstring& text) {
    return std::vector<std::uint16_t>(text.begin(), text.end());
  };
  const std::vector<std::uint16_t> path = units(config_);
  const std::vector<std::uint16_t> folder = units(module_.folder().Name());
  const std::vector<std::uint16_t> target = units(module_.folder().Name(L"target"));
  const std::vector<std::uint16_t> coded = units(module_.folder().Name(L"coded"));
  const std::vector<std::uint16_t> label = units(L"Label 1");
  const std::vector<std::uint16_t> speeds = units(L"printSpeeds.speeds");
  const std::vector<std::uint16_t> width = units(L"label.widthMax");
  const auto size = [](const std::vector<std::uint16_t>& text) {
    return static_cast<std::uint32_t>(text.size());
  };
  ASSERT_EQ(orv_encrypt_file(path.data(), size(path), coded.data(), size(coded)), ORV_OK);
  const std::string bytes = *ProtectBytes("a text of more than one block");
  std::vector<unsigned char> page(3 * 16);
  std::vector<unsigned char> planes[2] = {page, page};
  unsigned char bits[2] = {};
  const orv_image image = {sizeof(image), ORV_FORMAT_BGR24, 16, 1, 48, 0, page.data()};
  orv_image parts[2] = {image, image};
  for (int i = 0; i < 2; ++i) parts[i].pixels = planes[i].data();
  const orv_image oneBit = {sizeof(image), ORV_FORMAT_BIT1, 16, 1, 2, 0, bits};
  orv_config* config = nullptr;
  ASSERT_EQ(orv_config_load(path.data(), size(path), nullptr, &config, nullptr, 0, nullptr),
            ORV_OK);
  orv_log* log = nullptr;
  ASSERT_EQ(orv_log_open(nullptr, 0, folder.data(), size(folder), &log), ORV_OK);
  orv_stock_item item{};
  item.size = sizeof item;
  item.guid[0] = 9;
  item.name[0] = 'x';
  item.name_length = 1;

  const auto out = std::make_unique<OutputInC>();
  std::uint16_t* const text = out->text;
  constexpr std::uint32_t kUnits = std::size(OutputInC{}.text);
  std::uint32_t* const length = &out->length;
  orv_config* loaded = nullptr;
  orv_log* opened = nullptr;
  void* printer = nullptr;
  struct CallInC {
    const char* name;
    std::function<std::int32_t()> run;
    unsigned withoutMemory = kNoMemory;
    std::function<void()> prepare = [] {};
    int step = 1;  ///< above 1 for many allocations of the same kind
    unsigned withoutService = kDone | kFailed;
  };
  // The system's cipher and digest allocate, and fail for other reasons.
  constexpr unsigned kWithoutCipher = kDone | kFailed | kNoMemory | kInternal;
  int changes = 0;
  // Drops what is cached of the settings store.
  const auto changeStore = [&] {
    SetSetting(HKEY_CURRENT_USER, L"Test", L"Changes", std::to_wstring(++changes));
  };
  const auto addItem = [&] { return orv_stock_add(label.data(), size(label), log, &item); };
  const CallInC calls[] = {
      {"open a log", [&] { return orv_log_open(label.data(), size(label), nullptr, 0, &opened); },
       kDone | kNoMemory},
      {"write to a log",
       [&] { return orv_log_write(log, ORV_LOG_ERROR, path.data(), size(path), label.data(), 7); },
       kDone | kNoMemory},
      {"open a printer", [&] { return orv_printer_open(label.data(), size(label), &printer); },
       kNoMemory, changeStore},
      {"load",
       [&] { return orv_config_load(path.data(), size(path), log, &loaded, nullptr, 0, nullptr); },
       kDone | kNoMemory},
      {"load a protected file",
       [&] {
         return orv_config_load(coded.data(), size(coded), log, &loaded, nullptr, 0, nullptr);
       },
       kDone | kNoMemory, [] {}, 1, kDone | kFailed | kNoMemory},
      {"load by a handle",
       [&] { return orv_config_load_handle(printer_.handle(), log, &loaded, nullptr, 0, nullptr); },
       kDone | kNoMemory, [] {}, 7},
      {"load by a name",
       [&] {
         return orv_config_load_printer(label.data(), size(label), log, &loaded, nullptr, 0,
                                        nullptr);
       },
       kDone | kNoMemory, changeStore, 7},
      {"the name of a value", [&] { return orv_config_name(config, 0, text, kUnits, length); }},
      {"a value",
       [&] { return orv_config_text(config, width.data(), size(width), text, kUnits, length); }},
      {"a number",
       [&] { return orv_config_integer(config, width.data(), size(width), out->numbers); }},
      {"numbers",
       [&] {
         return orv_config_integers(config, speeds.data(), size(speeds), out->numbers, 16, length);
       }},
      {"defaults", [&] { return orv_record_default(config, out->record, ORV_RECORD_SIZE); }},
      {"validate",
       [&] {
         return orv_record_validate(config, log, out->record, out->record, ORV_RECORD_SIZE, text,
                                    kUnits, length);
       }},
      {"convert",
       [&] { return orv_record_convert(log, out->record, out->record, ORV_RECORD_SIZE); }},
      {"merge",
       [&] {
         return orv_record_merge(printer_.handle(), label.data(), size(label), log, out->record,
                                 out->record, ORV_RECORD_SIZE, out->application, out->application,
                                 ORV_PUBLIC_RECORD_SIZE);
       },
       kDone | kNoMemory, changeStore},
      {"explain",
       [&] {
         return orv_record_explain(config, out->record, ORV_RECORD_SIZE, text, kUnits, length);
       },
       kNoMemory, [] {}, 11},
      {"explain a merge",
       [&] {
         return orv_record_explain_merge(printer_.handle(), label.data(), size(label), log,
                                         out->record, ORV_RECORD_SIZE, out->application,
                                         ORV_PUBLIC_RECORD_SIZE, text, kUnits, length);
       },
       kDone | kNoMemory, [] {}, 17},
      {"add an item", addItem},
      {"list items",
       [&] { return orv_stock_list(label.data(), size(label), log, out->items, 4, length); },
       kDone | kNoMemory, changeStore, 9},
      {"remove an item", [&] { return orv_stock_remove(label.data(), size(label), item.guid); },
       kNoMemory, [&] { EXPECT_EQ(addItem(), ORV_OK); }},
      {"dither", [&] { return orv_page_dither(&image, ORV_DITHER_SIERRA_LITE, 128, 0); }},
      {"reduce", [&] { return orv_page_to_one_bit(&image, &oneBit); }},
      {"bounds", [&] { return orv_page_bounds(&oneBit, out->numbers); }},
      {"split",
       [&] {
         return orv_page_split(&image, 0xFF0000, 0.1, ORV_DITHER_FLOYD_STEINBERG, 128, &parts[0],
                               &parts[1]);
       }},
      {"encrypt",
       [&] {
         unsigned char result[100];
         return orv_encrypt("text", 4, result, sizeof result, length);
       },
       kDone | kNoMemory, [] {}, 1, kWithoutCipher},
      {"decrypt",
       [&] {
         return orv_decrypt(bytes.data(), static_cast<std::uint32_t>(bytes.size()), out->bytes,
                            sizeof out->bytes, length);
       },
       kNoMemory, [] {}, 1, kWithoutCipher},
      {"encrypt a file",
       [&] { return orv_encrypt_file(path.data(), size(path), target.data(), size(target)); },
       kDone | kNoMemory, [] {}, 1, kWithoutCipher},
      {"decrypt a file",
       [&] { return orv_decrypt_file(coded.data(), size(coded), target.data(), size(target)); },
       kNoMemory, [] {}, 1, kWithoutCipher},
      {"hash", [&] { return orv_hash("text", 4, out->bytes); }, kNoMemory, [] {}, 1,
       kWithoutCipher},
      {"hash a file", [&] { return orv_hash_file(path.data(), size(path), out->bytes); }, kNoMemory,
       [] {}, 1, kWithoutCipher},
  };
  const auto unchanged = std::make_unique<OutputInC>();
  const auto expected = std::make_unique<OutputInC>();
  ASSERT_EQ(orv_record_default(config, unchanged->record, ORV_RECORD_SIZE), ORV_OK);
  for (orv_stock_item& listed : unchanged->items) listed.size = sizeof listed;
  constexpr Kind kAllocations[] = {Kind::kAllocation};
  constexpr Kind kServices[] = {Kind::kCall, Kind::kShortWrite};
  for (const CallInC& call : calls) {
    *out = *unchanged;
    bool isKnown = false;
    const auto prepare = [&] {
      *out = *unchanged;
      CLogger::m_bWriteLogToDebug = CLogger::m_bWriteLogToFile = 0;
      call.prepare();
    };
    const Operation operation = {
        call.name,
        call.withoutMemory,
        call.withoutService,
        prepare,
        [&] { return EndingInC(call.run()); },
        [&](Ending ending, bool) -> std::string {
          orv_config_close(std::exchange(loaded, nullptr));
          orv_log_close(std::exchange(opened, nullptr));
          orv_printer_close(std::exchange(printer, nullptr));
          if (ending == kDone && !std::exchange(isKnown, true)) *expected = *out;
          const OutputInC& right = ending == kDone ? *expected : *unchanged;
          return std::memcmp(out.get(), &right, sizeof right) == 0 ? "" : "other outputs";
        }};
    Sweep(operation, kAllocations, call.step);
    Sweep(operation, kServices);
  }
  orv_log_close(log);
  orv_config_close(config);
}

TEST_F(RequestFaults, Merges) {
  tagOEMDEV in{};
  const auto config = module_.Load();
  FillDefaults(*config, &in);
  // Must be corrected, with a warning.
  in.GapDistance = 20001;
  in.UnprintableLeft = 70000;
  tagOEMDEV right = in;
  RepairRecord(*config, &right);
  tagOEMDEV repaired{};
  Sweep({"repair", kDone, kDone, [&] { repaired = in; },
         [&] { return EndingOf(EnsureValidOEMDevmode(nullptr, config.get(), &repaired) == TRUE); },
         [&](Ending, bool) { return Bytes(repaired) == Bytes(right) ? "" : "repaired in part"; }});
  tagOEMDEV out{};
  DEVMODEW publicIn{};
  DEVMODEW publicOut{};
  publicIn.dmPaperSize = kFirstStockPaperSize + 1;
  OEMDMPARAM param{};
  param.hPrinter = printer_.handle();
  param.pOEMDMIn = &in;
  param.pOEMDMOut = &out;
  param.pPublicDMIn = &publicIn;
  param.pPublicDMOut = &publicOut;
  std::string expected;
  int changes = 0;
  Sweep({"merge", kDone | kFailed, kDone | kFailed,
         [&] {
           cache_->Clear();
           SetSetting(HKEY_CURRENT_USER, L"Test", L"Changes", std::to_wstring(++changes));
           out = {};
           out.dwSignature = tagOEMDEV::kSignature;
           publicOut = {};
           SetLastError(0);
         },
         [&] {
           return EndingOf(hrOEMDevMode(&module_.client, cache_, L"Label 1", OEMDM_MERGE, &param) ==
                           S_OK);
         },
         [&](Ending ending, bool isWhole) -> std::string {
           if (ending == kFailed) return GetLastError() == 87 ? "" : "another error";
           if (out.dwSize != tagOEMDEV::kSize || out.GapDistance != 0) return "not a valid record";
           if (!isWhole) return "";
           const std::string merged =
               Bytes(out) + std::string(reinterpret_cast<char*>(&publicOut), sizeof publicOut);
           if (expected.empty()) expected = merged;
           return merged == expected && publicOut.dmPaperWidth == 500 ? "" : "another record";
         }});

  in = out;
  // The functions with C linkage that return nothing or only a flag do not throw either.
  const auto both = [&] {
    return Bytes(out) + std::string(reinterpret_cast<char*>(&publicOut), sizeof publicOut);
  };
  std::string unchanged;
  Sweep({"apply a stock item", kDone, kDone,
         [&] {
           SetSetting(HKEY_CURRENT_USER, L"Test", L"Changes", std::to_wstring(++changes));
           out = {};
           publicOut = {};
           unchanged = both();
         },
         [&] {
           ApplyStockItem(&publicIn, &publicOut, &out, printer_.handle(), L"Label 1",
                          &module_.client);
           return kDone;
         },
         [&](Ending, bool isWhole) {
           return !isWhole || both() == unchanged || publicOut.dmPaperWidth == 500 ? "" : "in part";
         }});
  Sweep({"convert", kDone, kDone, [&] { out = {}; },
         [&] { return EndingOf(ConvertOEMDevmodeVersions(&module_.client, &in, &out) == TRUE); },
         [&](Ending, bool) { return Bytes(out) == Bytes(in) ? "" : "converted in part"; }});

  // A merge without corrections, of what an earlier one has read.
  in.AllowCustomPageSize = 1;
  publicIn.dmPaperSize = kFirstStockPaperSize - 1;
  EXPECT_EQ(hrOEMDevMode(&module_.client, cache_, L"Label 1", OEMDM_MERGE, &param), S_OK);
  CLogger::m_nLoglevel = 0;
  const faults::Armed counting({Kind::kAllocation, std::numeric_limits<int>::max(), Mode::kOnce});
  EXPECT_EQ(hrOEMDevMode(&module_.client, cache_, L"Label 1", OEMDM_MERGE, &param), S_OK);
#if !defined(_WIN32)
  EXPECT_LE(counting.Count(), 8);
#endif
}

}  // namespace
}  // namespace orv::test
