// The XML document against other parsers, on the same documents in the same run. Rates count code
// units (bytes for the peers that read UTF-8; the documents are ASCII).
//
// Real documents are named on the command line, before the flags of Google Benchmark.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <fstream>
#include <iterator>
#include <memory>

#include "base/utf8.h"
#include "benchmarks/peers.h"
#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"

namespace {

struct Document {
  std::string name;
  std::string bytes;
  std::wstring text;
};

/// A printer configuration of about `size` code units: nested sections of short properties.
std::string MakeConfiguration(std::size_t size) {
  std::string xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<xmlData>\r\n  <device>\r\n";
  for (int section = 0; xml.size() < size; ++section) {
    const std::string tag = "section" + std::to_string(section);
    xml += "    <" + tag + ">\r\n      <properties>\r\n";
    for (int i = 0; i < 8; ++i) {
      xml += "        <property name=\"property" + std::to_string(i) + "\" type=\"int\">" +
             std::to_string(section * 1000 + i) + "</property>\r\n";
    }
    xml += "      </properties>\r\n    </" + tag + ">\r\n";
  }
  return xml + "  </device>\r\n</xmlData>\r\n";
}

/// Records with attributes and text, some of it with references.
std::string MakeRecords(std::size_t size) {
  std::string xml = "<?xml version=\"1.0\"?>\n<records>\n";
  for (int i = 0; xml.size() < size; ++i) {
    const std::string number = std::to_string(i);
    xml += "<record id=\"" + number + "\" kind=\"label\"><name>Label " + number +
           "</name><note>printed &amp; cut, with some more text to it</note>" +
           "<size width=\"100\" height='50'/></record>\n";
  }
  return xml + "</records>\n";
}

using Parse = void (*)(benchmark::State&, const Document&);

void SetDoc(benchmark::State& state, const Document& document) {
  for (auto _ : state) {
    CMarkup doc;
    benchmark::DoNotOptimize(doc.SetDoc(document.text));
  }
}

void Walk(benchmark::State& state, const Document& document) {
  for (auto _ : state) {
    CMarkup doc;
    doc.SetDoc(document.text);
    std::size_t seen = 0;
    std::wstring buffer;
    for (CMarkupCursor cursor(doc); cursor.NextElem();) {
      for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
        seen += attrib.GetValue(&buffer).size();
      }
      seen += 1 + cursor.GetData(&buffer).size();
    }
    benchmark::DoNotOptimize(seen);
  }
}

/// Reads the name and text of every property like the configuration loader.
void Properties(benchmark::State& state, const Document& document) {
  for (auto _ : state) {
    CMarkup doc;
    doc.SetDoc(document.text);
    std::size_t seen = 0;
    CMarkupCursor cursor(doc);
    cursor.FindChildElem();
    cursor.IntoElem();
    while (cursor.FindChildElem()) {
      cursor.IntoElem();
      cursor.FindChildElem(L"properties");
      cursor.IntoElem();
      for (const CMarkupChild& property : CMarkupChildren(cursor, L"property", L"name")) {
        seen += property.strValue.size() + 1 + property.strData.size();
      }
      cursor.OutOfElem();
      cursor.OutOfElem();
    }
    benchmark::DoNotOptimize(seen);
  }
}

template <auto kPeer, auto kText>
void Peer(benchmark::State& state, const Document& document) {
  for (auto _ : state) {
    const orv::bench::PeerResult result = kPeer(document.*kText);
    if (!result.isGood) state.SkipWithError("not parsed");
    benchmark::DoNotOptimize(result.seen);
  }
}

/// The heap that a loaded document takes, less the size of the text, as the counter "bytes".
template <class Load>
void MeasureHeap(benchmark::State& state, const std::wstring& text, Load load) {
  const auto used = [] {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
  };
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::size_t before = used();
    const auto loaded = load(text);
    bytes = used() - before - text.size() * sizeof(text[0]);
    if (loaded == nullptr) state.SkipWithError("not parsed");
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}

void Heap(benchmark::State& state, const Document& document) {
  MeasureHeap(state, document.text, [](const std::wstring& text) {
    auto doc = std::make_unique<CMarkup>();
    return doc->SetDoc(text) ? std::move(doc) : nullptr;
  });
}

#if defined(ORV_PUGIXML_WIDE)
void HeapOfPeer(benchmark::State& state, const Document& document) {
  MeasureHeap(state, document.text, orv::bench::PugixmlWideLoad);
}
#endif

void Register(const char* work, const std::shared_ptr<Document>& document, Parse parse) {
  benchmark::RegisterBenchmark(
      (std::string(work) + "/" + document->name).c_str(),
      [document, parse](benchmark::State& state) {
        parse(state, *document);
        state.SetBytesProcessed(static_cast<std::int64_t>(document->text.size()) *
                                static_cast<std::int64_t>(state.iterations()));
      });
}

std::shared_ptr<Document> RegisterDocument(std::string name, std::string bytes) {
  auto document = std::make_shared<Document>();
  document->name = std::move(name);
  document->text = orv::Utf8ToWide(bytes);
  document->bytes = std::move(bytes);
  using namespace orv::bench;
  Register("SetDoc", document, SetDoc);
#if defined(ORV_PUGIXML_WIDE)
  Register("pugixml_wide", document, Peer<PugixmlWideParse, &Document::text>);
#endif
  Register("pugixml", document, Peer<PugixmlParse, &Document::bytes>);
  Register("expat", document, Peer<ExpatParse, &Document::bytes>);
  Register("libxml2", document, Peer<LibxmlParse, &Document::bytes>);
  Register("rapidxml", document, Peer<RapidxmlParse, &Document::bytes>);
  Register("walk", document, Walk);
#if defined(ORV_PUGIXML_WIDE)
  Register("walk_pugixml_wide", document, Peer<PugixmlWideWalk, &Document::text>);
#endif
  Register("walk_pugixml", document, Peer<PugixmlWalk, &Document::bytes>);
  Register("heap", document, Heap);
#if defined(ORV_PUGIXML_WIDE)
  Register("heap_pugixml_wide", document, HeapOfPeer);
#endif
  return document;
}

void AppendElement(benchmark::State& state) {
  CMarkup doc(L"<records/>");
  doc.FindElem();
  doc.IntoElem();
  for (std::int64_t i = 0; i < state.range(0); ++i) doc.AddElem(L"record", L"value");
  for (auto _ : state) doc.AddElem(L"record", L"value");
}
BENCHMARK(AppendElement)->Arg(1000)->Arg(1'000'000)->Iterations(100'000);

std::string SampleBytes(std::int64_t size) {
  std::string bytes;
  for (std::int64_t i = 0; i < size; ++i) bytes += static_cast<char>(i * 131 + i / 251);
  return bytes;
}

void EncodeBase64(benchmark::State& state) {
  const std::string bytes = SampleBytes(state.range(0));
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (auto _ : state) {
    benchmark::DoNotOptimize(CMarkup::EncodeBase64(data, static_cast<int>(bytes.size())));
  }
  state.SetBytesProcessed(state.range(0) * static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(EncodeBase64)->Arg(1 << 20);

void DecodeBase64(benchmark::State& state) {
  std::string bytes = SampleBytes(state.range(0));
  auto* data = reinterpret_cast<unsigned char*>(bytes.data());
  const std::wstring text = CMarkup::EncodeBase64(data, static_cast<int>(bytes.size()));
  for (auto _ : state) {
    benchmark::DoNotOptimize(CMarkup::DecodeBase64(text, data, static_cast<int>(bytes.size())));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size() * state.iterations()));
}
BENCHMARK(DecodeBase64)->Arg(1 << 20);

void Utf8To16(benchmark::State& state) {
  const std::string bytes = MakeRecords(1 << 20);
  std::wstring text(bytes.size(), L'\0');
  const int size = static_cast<int>(bytes.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(CMarkup::UTF8To16(text.data(), bytes.c_str(), size));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes.size() * state.iterations()));
}
BENCHMARK(Utf8To16);

void Utf16To8(benchmark::State& state) {
  const std::wstring text = orv::Utf8ToWide(MakeRecords(1 << 20));
  std::string bytes(text.size() + 1, '\0');
  const int size = static_cast<int>(bytes.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(CMarkup::UTF16To8(bytes.data(), text.c_str(), size));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size() * state.iterations()));
}
BENCHMARK(Utf16To8);

}  // namespace

int main(int argc, char** argv) {
  const auto configuration = RegisterDocument("configuration_38K", MakeConfiguration(38'000));
  Register("properties", configuration, Properties);
#if defined(ORV_PUGIXML_WIDE)
  Register("properties_pugixml_wide", configuration,
           Peer<orv::bench::PugixmlWideProperties, &Document::text>);
#endif
  for (const std::size_t kilobytes : {1, 32, 1024, 51200}) {
    RegisterDocument("records_" + std::to_string(kilobytes) + "K", MakeRecords(kilobytes * 1024));
  }
  int options = 1;
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') {
      argv[options++] = argv[i];
      continue;
    }
    std::ifstream file(argv[i], std::ios::binary);
    RegisterDocument(argv[i], {std::istreambuf_iterator<char>(file), {}});
  }
  benchmark::Initialize(&options, argv);
  benchmark::RunSpecifiedBenchmarks();
}
