// Tasks on XML documents, through the installed headers only: edits of many siblings, files that
// are read in parts, and what takes longer in larger documents. The peers do the same.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/peers.h"
#include "orv/xml/markup.h"

namespace {

using orv::bench::Edit;

// --- Edits ---

std::wstring MakeList(std::size_t items) {
  std::wstring xml = L"<list>\n";
  for (std::size_t i = 0; i < items; ++i) {
    const std::wstring number = std::to_wstring(i);
    xml += L"<item id=\"" + number + L"\">item with the number " + number + L"</item>\n";
  }
  return xml + L"</list>\n";
}

/// New values, mostly longer than the old ones.
std::vector<std::wstring> MakeValues(std::size_t count) {
  std::vector<std::wstring> values;
  for (std::size_t i = 0; i < count; ++i)
    values.push_back(L"a new value " + std::to_wstring(i * 7));
  return values;
}

std::unique_ptr<CMarkup> LoadList(const std::wstring& text) {
  auto doc = std::make_unique<CMarkup>(text);
  doc->FindElem();
  doc->IntoElem();
  return doc;
}

const std::wstring& EditList(CMarkup& doc, Edit edit, const std::vector<std::wstring>& values) {
  for (const std::wstring& value : values) {
    switch (edit) {
      case Edit::kSetAttribute:
        doc.FindElem();
        doc.SetAttrib(L"id", value);
        break;
      case Edit::kSetData:
        doc.FindElem();
        doc.SetData(value);
        break;
      case Edit::kAppend:
        doc.AddElem(L"item", value);
        break;
      case Edit::kInsertFirst:
        doc.ResetMainPos();
        doc.InsertElem(L"item", value);
        break;
      case Edit::kRemove:
        doc.FindElem();
        doc.RemoveElem();
        break;
    }
  }
  return doc.GetDoc();
}

/// Times the edits and the text, but neither the parse nor the release of the document.
template <class Load, class Change>
void TimeEdits(benchmark::State& state, Edit edit, Load load, Change change) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const std::wstring text = MakeList(count);
  const std::vector<std::wstring> values = MakeValues(count);
  for (auto _ : state) {
    state.PauseTiming();
    {
      auto doc = load(text);
      state.ResumeTiming();
      const std::wstring& edited = change(*doc, edit, values);
      state.PauseTiming();
      if (edited.empty() || edited == text) state.SkipWithError("not edited");
    }
    state.ResumeTiming();
  }
}

void RegisterEdits() {
  static constexpr std::pair<const char*, Edit> kEdits[] = {{"set_attribute", Edit::kSetAttribute},
                                                            {"set_data", Edit::kSetData},
                                                            {"append", Edit::kAppend},
                                                            {"insert_first", Edit::kInsertFirst},
                                                            {"remove", Edit::kRemove}};
  const auto add = [](const std::string& name, auto run) {
    for (const int items : {10'000, 20'000, 40'000}) {
      benchmark::RegisterBenchmark(name.c_str(), run)->Arg(items);
    }
  };
  for (const auto& [name, edit] : kEdits) {
    add(name,
        [edit = edit](benchmark::State& state) { TimeEdits(state, edit, LoadList, EditList); });
#if defined(ORV_PUGIXML_WIDE)
    add(name + std::string("_pugixml_wide"), [edit = edit](benchmark::State& state) {
      TimeEdits(state, edit, orv::bench::PugixmlWideLoad, orv::bench::PugixmlWideEdit);
    });
#endif
  }
}

// --- Files in parts ---

/// Files in a folder of their own, made when they are first used.
class Files {
 public:
  Files() : folder_(std::filesystem::temp_directory_path() / "orv_xml_tasks_bench") {
    std::filesystem::create_directories(folder_);
  }
  ~Files() { std::filesystem::remove_all(folder_); }

  /// Returns the path of the file with a name; `write` writes it.
  template <class Write>
  std::string Get(const std::string& name, Write write) {
    const auto [file, isNew] = paths_.try_emplace(name, (folder_ / name).string());
    if (isNew) {
      std::ofstream out(file->second, std::ios::binary);
      write(out);
    }
    return file->second;
  }

 private:
  std::filesystem::path folder_;
  std::map<std::string, std::string> paths_;
};

Files& TheFiles() {
  static Files files;
  return files;
}

/// Records of a total size in megabytes, then one element with another name.
std::string RecordsFile(std::int64_t megabytes) {
  return TheFiles().Get("records_" + std::to_string(megabytes), [megabytes](std::ofstream& out) {
    out << "<?xml version=\"1.0\"?>\n<records>\n";
    for (std::int64_t i = 0; out.tellp() < megabytes << 20; ++i) {
      out << "<record id=\"" << i << "\" kind=\"label\"><name>Label " << i
          << "</name><note>printed &amp; cut, with some more text to it</note>"
          << "<size width=\"100\" height='50'/></record>\n";
    }
    out << "<last/></records>\n";
  });
}

/// One comment of a size in megabytes before an element.
std::string CommentFile(std::int64_t megabytes) {
  return TheFiles().Get("comment_" + std::to_string(megabytes), [megabytes](std::ofstream& out) {
    out << "<records><!--";
    for (std::int64_t i = 0; i < megabytes << 10; ++i) out << std::string(1024, 'c');
    out << "--><last/></records>\n";
  });
}

/// Elements that are not closed, inside one that is.
std::string UnendedFile(std::int64_t elements) {
  return TheFiles().Get("unended_" + std::to_string(elements), [elements](std::ofstream& out) {
    out << "<r>";
    for (std::int64_t i = 0; i < elements; ++i) out << "<a>";
    out << "</r>";
  });
}

/// Passes all elements of a file, or stops at the first child of the root with a name.
std::size_t ReadInParts(const std::string& file, const wchar_t* name) {
  CMarkup doc;
  if (!doc.Open(std::wstring(file.begin(), file.end()), CMarkup::DOC_READFILE)) return 0;
  std::size_t elements = 0;
  if (*name != 0) {
    doc.FindElem();
    doc.IntoElem();
    elements = doc.FindElem(name) ? 1 : 0;
  } else {
    do {
      while (doc.FindElem()) {
        ++elements;
        doc.IntoElem();
      }
    } while (doc.OutOfElem());
  }
  doc.Close();
  return elements;
}

using MakeFile = std::string (*)(std::int64_t);

void InParts(benchmark::State& state, MakeFile makeFile, const wchar_t* name) {
  const std::string file = makeFile(state.range(0));
  for (auto _ : state) {
    if (ReadInParts(file, name) == 0) state.SkipWithError("nothing found");
  }
}

void Expat(benchmark::State& state, const char* name) {
  const std::string file = RecordsFile(state.range(0));
  for (auto _ : state) {
    if (!orv::bench::ExpatReadFile(file, name).isGood) state.SkipWithError("not read");
  }
}

/// A figure of this process in kilobytes, from the system's status file.
std::size_t StatusKilobytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(key)) return std::stoul(line.substr(key.size() + 1));
  }
  return 0;
}

/// The peak of memory while a file is read in parts, as the counter "bytes".
void PeakInParts(benchmark::State& state, MakeFile makeFile, const wchar_t* name) {
  const std::string file = makeFile(state.range(0));
  std::size_t peak = 0;
  for (auto _ : state) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
    const std::size_t before = StatusKilobytes("VmRSS");
    if (ReadInParts(file, name) == 0) state.SkipWithError("nothing found");
    peak = StatusKilobytes("VmHWM") - before;
  }
  state.counters["bytes"] = static_cast<double>(peak * 1024);
}

void RegisterParts() {
  const auto add = [](const char* name, std::vector<std::int64_t> sizes, auto run, auto... args) {
    for (const std::int64_t size : sizes) {
      benchmark::RegisterBenchmark(name, run, args...)->Arg(size)->Iterations(1);
    }
  };
  add("parts_named", {200}, InParts, RecordsFile, L"last");
  add("parts_named_expat", {200}, Expat, "last");
  add("parts_all", {200}, InParts, RecordsFile, L"");
  add("parts_all_expat", {200}, Expat, "");
  add("parts_unended", {10'000, 20'000, 40'000}, InParts, UnendedFile, L"");
  add("peak_records", {50, 100, 200}, PeakInParts, RecordsFile, L"");
  add("peak_comment", {10, 20, 40}, PeakInParts, CommentFile, L"last");
}

// --- Depth ---

void PathAtDepth(benchmark::State& state) {
  std::wstring xml;
  for (std::int64_t i = 0; i < state.range(0); ++i) xml += L"<a>";
  for (std::int64_t i = 0; i < state.range(0); ++i) xml += L"</a>";
  CMarkup doc(xml);
  while (doc.FindChildElem()) doc.IntoElem();
  for (auto _ : state) benchmark::DoNotOptimize(doc.GetPath());
}
BENCHMARK(PathAtDepth)->Arg(10'000)->Arg(100'000)->Arg(1'000'000);

}  // namespace

int main(int argc, char** argv) {
  RegisterEdits();
  RegisterParts();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
}
