#include <gtest/gtest.h>

#include <optional>
#include <random>

#include "orv/imaging/pixels.h"
#include "orv/platform/graphics.h"
#include "orv/platform/registry.h"
#include "orv/text/utf8.h"
#include "orv/xml/markup.h"
#include "tests/devmode_fixture.h"

namespace {

using orv::test::ModuleFolder;
using orv::test::ProgramResult;
using orv::test::ReadBytes;
using orv::test::WriteBytes;

/// The program on a printer with its configuration, working in a folder of its own. On Windows the
/// program sees the real hives: the printer's name is of this process alone.
class DevmodeTool : public ::testing::Test {
 protected:
  DevmodeTool() {
    orv::test::SetVariable("ORV_REGISTRY_DIR", folder_.path().string());
    printer_.emplace(orv::Utf8ToWide(name_), orv::test::kTestDriver);
  }
  ~DevmodeTool() override {
    printer_.reset();
    orv::RegistryKey printers;
    if (printers.Open(HKEY_CURRENT_USER, orv::kSettingsKey + std::wstring(L"\\UI"),
                      orv::RegistryAccess::kReadWrite) == ERROR_SUCCESS) {
      orv::DeleteRegistryTree(printers.get(), orv::Utf8ToWide(name_));
      printers.Close();
    }
    orv::test::SetVariable("ORV_REGISTRY_DIR", {});
  }

  ProgramResult Run(std::vector<std::string> arguments) {
    ProgramResult result = orv::test::RunProgram(ORV_PROGRAM, arguments);
    std::erase(result.output, '\r');
    std::erase(result.messages, '\r');
    return result;
  }
  std::string File(const char* name) { return (folder_.path() / name).string(); }
  std::string Configs() { return module_.folder().path().string(); }

  const std::string name_ = "orv test " + std::to_string(orv::test::OwnProcessId());
  orv::test::TemporaryFolder folder_;
  std::optional<orv::test::TestPrinter> printer_;
  ModuleFolder module_;
};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

TEST_F(DevmodeTool, TextFormKeepsEveryByte) {
  std::mt19937 random(44);
  for (int round = 0; round < 3; ++round) {
    std::string bytes(2688, '\0');
    for (char& byte : bytes) byte = static_cast<char>(round == 0 ? 0 : random());
    if (round == 2)
      bytes.replace(1936, 80, std::string("\0a\"\\\n\x7F\0", 7) + std::string(73, '\0'));
    WriteBytes(File("a.dev"), bytes);
    EXPECT_EQ(Run({"devmode", "text", File("a.dev"), "-o", File("a.txt")}).exitCode, 0);
    EXPECT_EQ(Run({"devmode", "bytes", File("a.txt"), "-o", File("b.dev")}).exitCode, 0);
    EXPECT_EQ(ReadBytes(File("b.dev")), bytes);
    EXPECT_EQ(Run({"devmode", "diff", File("a.dev"), File("a.txt")}).exitCode, 0);
  }
}

TEST_F(DevmodeTool, RefusesTextThatDoesNotFit) {
  for (const char* line :
       {"PaperWidth = -1", "PaperWidth = 4294967296", "OffsetX = 2147483648",
        "CustomCommandPageEndType = 65536", "NoSuchField = 1", "PaperWidth", "StockItemGuid = {1}",
        "CustomCommandPageEnd = \"a", "Reserved2588 = 000000000000000000", "EpLayout = 0g",
        "paperheight = 2"}) {
    WriteBytes(File("a.txt"), std::string("\xEF\xBB\xBF# orv private settings record\r\n"
                                          "PaperHeight = 1\r\n") +
                                  line + "\r\n");
    const ProgramResult result = Run({"devmode", "show", File("a.txt")});
    EXPECT_EQ(result.exitCode, 1) << line;
    EXPECT_TRUE(Contains(result.messages, "a.txt:3: ")) << result.messages;
  }
  WriteBytes(File("a.dev"), std::string(2687, '\0'));
  EXPECT_EQ(Run({"devmode", "show", File("a.dev")}).exitCode, 1);
  EXPECT_EQ(Run({"devmode", "show", File("none")}).exitCode, 3);
  EXPECT_EQ(Run({"devmode", "default", "None", "-o", File("a.dev")}).exitCode, 1);
}

TEST_F(DevmodeTool, SaysWhyAMergeIsRefused) {
  std::string bytes(2688, '\0');
  const auto merge = [&](std::vector<std::string> more) {
    WriteBytes(File("a.dev"), bytes);
    std::vector<std::string> arguments = {"devmode",     "merge",        name_,
                                          "--in",        File("a.dev"),  "-o",
                                          File("m.dev"), "--config-dir", Configs()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  };
  EXPECT_TRUE(Contains(merge({}).messages, "its signature is 0")) << merge({}).messages;
  bytes.replace(4, 4, "1VRO");
  EXPECT_TRUE(Contains(merge({}).messages, "its version is 0"));
  bytes[8] = 16;
  EXPECT_EQ(merge({"--copies", "2"}).exitCode, 0);
  EXPECT_EQ(merge({"--copies", "1.5"}).exitCode, 2);
  EXPECT_EQ(merge({"--width", "4000"}).exitCode, 2);
}

TEST_F(DevmodeTool, MergesChecksAndExplains) {
  ASSERT_EQ(
      Run({"devmode", "default", name_, "-o", File("a.txt"), "--text", "--config-dir", Configs()})
          .exitCode,
      0);
  std::string text = ReadBytes(File("a.txt"));
  const auto set = [&](const std::string& name, const std::string& value) {
    const std::size_t at = text.find("\n" + name + " = ") + 1;
    text.replace(at, text.find('\n', at) - at, name + " = " + value);
  };
  set("BackFeedSpeed", "50");
  set("Darkness", "11");
  set("UnprintableLeft", "70000");
  WriteBytes(File("bad.txt"), text);
  const ProgramResult check =
      Run({"devmode", "check", File("bad.txt"), "--printer", name_, "--config-dir", Configs()});
  EXPECT_EQ(check.exitCode, 1);
  EXPECT_TRUE(Contains(check.output, "wraps")) << check.output;
  EXPECT_TRUE(Contains(check.output, "one of -10, -5 ... 20")) << check.output;
  EXPECT_EQ(ReadBytes(File("bad.txt")), text) << "checking changes nothing";

  const ProgramResult merge = Run({"devmode", "merge", name_, "--in", File("bad.txt"), "--width",
                                   "50.5", "--length", "30", "--copies", "2", "--form", "Form",
                                   "-o", File("m.dev"), "--config-dir", Configs(), "--json"});
  EXPECT_EQ(merge.exitCode, 0) << merge.messages;
  EXPECT_TRUE(
      Contains(merge.output, "\"corrections\": \"UnprintableRight:0->-19500 Darkness:11->10 \""))
      << merge.output;
  const ProgramResult diff = Run({"devmode", "diff", File("bad.txt"), File("m.dev")});
  EXPECT_EQ(diff.exitCode, 1);
  for (const char* field : {"UnprintableRight", "Darkness", "PaperWidth", "PaperHeight"}) {
    EXPECT_TRUE(Contains(diff.output, std::string("\n") + field + " ")) << diff.output;
  }

  const ProgramResult added =
      Run({"stock", "add", "Shelf", "--printer", name_, "--width", "44", "--length", "33", "--set",
           "Darkness=15", "--set", "lengthscaling=-2"});
  ASSERT_EQ(added.exitCode, 0) << added.messages;
  const ProgramResult explained = Run({"devmode", "explain", name_, "--in", File("bad.txt"),
                                       "--paper-size", "257", "--config-dir", Configs()});
  EXPECT_EQ(explained.exitCode, 0) << explained.messages;
  const auto row = [&](const std::string& name) {
    const std::size_t at = explained.output.find("\n" + name + " ") + 1;
    std::string line = explained.output.substr(at, explained.output.find('\n', at) - at);
    std::string words;
    for (const char letter : line) {
      if (letter != ' ' || words.back() != ' ') words += letter;
    }
    return words;
  };
  EXPECT_EQ(row("Darkness"), "Darkness 11 10 15 -10, -5 ... 20 15 stock item of the paper size");
  EXPECT_EQ(row("LengthScaling"), "LengthScaling 0 0 -2 -5 to 5 -2 stock item of the paper size");
  EXPECT_EQ(row("PaperWidth"),
            "PaperWidth 60000 60000 44000 10000 to 100000 44000 stock item of the "
            "paper size");
  EXPECT_EQ(row("GrayTolerance"), "GrayTolerance 128 128 0 to 255 128 carried, allowed");
}

TEST_F(DevmodeTool, StockItemsGoOutAndIn) {
  const std::string guid = "{00000001-0002-0003-0405-060708090A0B}";
  ASSERT_EQ(Run({"stock", "add", "Shelf", "-p", name_, "--guid", guid, "--width", "44"}).output,
            guid + "\n");
  EXPECT_EQ(Run({"stock", "add", "Other", "-p", name_, "--guid", guid}).exitCode, 1);
  EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--set", "NoSuch=1"}).exitCode, 2);
  for (const std::string& name : {std::string(), std::string(130, 'n')}) {
    EXPECT_EQ(Run({"stock", "add", name, "-p", name_}).exitCode, 2);
    EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--name", name}).exitCode, 2);
  }
  EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--set", "Mirror=-2147483649"}).exitCode,
            2);
  // Only lengths have a unit of lengths.
  EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--set", "Mirror=1mm"}).exitCode, 2);
  EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--set", "GapDistance=0.1in", "--set",
                 "OffsetX=-2mm"})
                .exitCode,
            0);
  const std::string values = Run({"stock", "list", "-p", name_, "--json"}).output;
  EXPECT_TRUE(Contains(values, "\"GapDistance\": 2540,")) << values;
  EXPECT_TRUE(Contains(values, "\"OffsetX\": 4294965296,")) << values;
  EXPECT_TRUE(Contains(Run({"stock", "edit", "Shlef", "-p", name_}).messages, "mean Shelf?"));
  EXPECT_EQ(Run({"stock", "edit", "None", "-p", name_, "--length", "5"}).exitCode, 1);
  EXPECT_EQ(Run({"stock", "edit", "Shelf", "-p", name_, "--length", "5", "--name", "Bin"}).exitCode,
            0);
  ASSERT_EQ(Run({"stock", "export", "-p", name_, "-o", File("s.reg")}).exitCode, 0);
  EXPECT_EQ(Run({"stock", "import", File("s.reg"), "--common"}).output, "1 stock items\n");
  WriteBytes(File("d.reg"), "Windows Registry Editor Version 5.00\r\n\r\n[-HKEY_CURRENT_USER\\x\\" +
                                guid + "]\r\n");
  EXPECT_EQ(Run({"stock", "import", File("d.reg"), "-p", name_}).output, "0 stock items\n");
  EXPECT_EQ(Run({"stock", "remove", guid, "-p", name_}).exitCode, 0);
  // The common one has taken its place.
  const std::string list = Run({"stock", "list", "-p", name_}).output;
  EXPECT_TRUE(Contains(list, "257         " + guid + "  Bin   44 mm  5 mm")) << list;
  EXPECT_EQ(Run({"stock", "remove", guid, "--common"}).exitCode, 0);
  EXPECT_EQ(Run({"stock", "list"}).exitCode, 2);
}

TEST_F(DevmodeTool, ShowsLengthsInInchesWhenAskedTo) {
  ASSERT_EQ(
      Run({"stock", "add", "Shelf", "-p", name_, "--width", "50.8", "--length", "1in"}).exitCode,
      0);
  const std::string page = ORV_EXAMPLES "/label_page.png";
  const std::string model = ORV_EXAMPLES "/orv_conf_lx300.xml";
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{"stock", "list", "-p", name_}, "Shelf  2 in   1 in "},
      {{"devmode", "merge", name_, "--config-dir", Configs(), "--width", "50.8", "-o",
        File("a.dev")},
       "width        2 in\n"},
      {{"devmode", "show", File("a.dev")}, "  1/1000 mm: 2 in  "},
      {{"config", "show", model}, " 106000 (4.17323 in)\n"},
      {{"config", "show", model}, " (1.9685 in/s, 2.95276 in/s, "},
      {{"page", "bounds", page}, " 4.00 x 6.00 in\n"},
      {{"report", name_, "--page", page, "-o", "-"}, ", 4.00 x 6.00 in, "}};
  for (auto [arguments, text] : cases) {
    arguments.push_back("--inch");
    const std::string output = Run(arguments).output;
    EXPECT_TRUE(Contains(output, text)) << text << "\n" << output.substr(0, 4000);
  }
}

TEST_F(DevmodeTool, ReportsAPrinterAsOneWholePage) {
  const std::string hostile = "<script>&\"'</script>";
  const std::string escaped = "&lt;script&gt;&amp;&quot;&#39;&lt;/script&gt;";
  ASSERT_EQ(Run({"stock", "add", hostile, "-p", name_, "--width", "44"}).exitCode, 0);
  std::string log = "05.03.2024\t14:07:09.042\tERR\tp.exe\tm.dll\tConfig\tthe first\r\n";
  for (int i = 0; i < 200; ++i)
    log += "05.03.2024\t14:07:09.043\tINF\tp\tm\t\t" + hostile + "\1\r\n";
  WriteBytes(File("a.log"), orv::test::Utf16Bytes(orv::Utf8ToWide(log)));
  WriteBytes(File("a.txt"),
             "# orv private settings record\ndwSignature = 1330796081\ndwVersion = 16\n");
  const orv::GraphicsSession graphics;
  constexpr BYTE kPage[2][3] = {{0, 0, 0}, {0x20, 0x20, 0xE0}};  // black, red
  Bitmap page(2, 1, PixelFormat24bppRGB);
  std::memcpy(orv::LockedBits(&page, ImageLockModeWrite, PixelFormat24bppRGB).data()->Scan0, kPage,
              sizeof kPage);
  ASSERT_EQ(orv::SavePng(&page, folder_.Name(L"page.png").c_str()), Ok);

  const auto report = [&](const std::string& configs, std::vector<std::string> more) {
    more.insert(more.begin(), {"report", name_, "--config-dir", configs, "--log", File("a.log"),
                               "--record", File("a.txt")});
    return Run(more);
  };
  const ProgramResult made = report(Configs(), {"-o", File("r.html"), "--paper-size", "257",
                                                "--page", File("page.png"), "--colour", "E02020"});
  ASSERT_EQ(made.exitCode, 0) << made.messages;
  EXPECT_EQ(made.output + made.messages, "");
  const std::string html = ReadBytes(File("r.html"));
  CMarkup xml;
  EXPECT_TRUE(xml.SetDoc(orv::Utf8ToWide(html))) << orv::WideToUtf8(xml.GetError());
  for (const char* part : {"<script", "://", "the first", " src=\"h", "url("}) {
    EXPECT_FALSE(Contains(html, part)) << part;
  }
  // The item's name, its place in the record, a message with a control character; why a value is
  // what it is; what of the log was cut off.
  for (const std::string& part :
       {"<div>" + escaped + "<small>{", "From the stock item &quot;" + escaped + "&quot; (",
        "<div>" + escaped + "\\x01</div>", std::string("stock item of the paper size"),
        std::string("must be one of 50, 100, 200; falls back to printSpeeds.defaultSpeed / 1000"),
        std::string("last 200 of 201 entries are shown; before them there are 1 error, 0 warn")}) {
    EXPECT_TRUE(Contains(html, part)) << part;
  }
  // The planes, in the order black, coloured, both.
  constexpr BYTE kDots[3][2][3] = {{{0, 0, 0}, {255, 255, 255}},
                                   {{255, 255, 255}, {0x20, 0x20, 0xE0}},
                                   {{0, 0, 0}, {0x20, 0x20, 0xE0}}};
  std::size_t at = 0;
  for (const auto& dots : kDots) {
    constexpr std::string_view kStart = "src=\"data:image/png;base64,";
    at = html.find(kStart, at) + kStart.size();
    std::string png(html.find('"', at) - at, '\0');
    png.resize(static_cast<std::size_t>(CMarkup::DecodeBase64(
        orv::Utf8ToWide(html.substr(at, png.size())), reinterpret_cast<unsigned char*>(png.data()),
        static_cast<int>(png.size()))));
    WriteBytes(File("plane.png"), png);
    Bitmap* plane = nullptr;
    ASSERT_EQ(orv::LoadPng(folder_.Name(L"plane.png").c_str(), &plane), Ok);
    {
      const orv::LockedBits bits(plane, ImageLockModeRead, PixelFormat24bppRGB);
      EXPECT_EQ(std::memcmp(bits.Row(0), dots, sizeof dots), 0);
    }
    delete plane;
  }

  // Without its configuration the record is shown as it is.
  const ProgramResult bare = report(File("none"), {"-o", "-"});
  EXPECT_EQ(bare.exitCode, 0);
  EXPECT_TRUE(bare.output.starts_with("<!DOCTYPE html>")) << bare.output.substr(0, 99);
  EXPECT_TRUE(Contains(bare.output, "does not load: cannot read ")) << bare.messages;
  EXPECT_TRUE(Contains(bare.output, "<caption>As it was given</caption>"));
  EXPECT_EQ(report(Configs(), {"-o", File("none/r.html")}).exitCode, 3);
  EXPECT_EQ(report(Configs(), {"-o", File("r.html"), "--page", File("a.txt")}).exitCode, 3);
  EXPECT_EQ(report(Configs(), {"-o", File("r.html"), "--tolerance", "1"}).exitCode, 2);
  EXPECT_EQ(Run({"report", "no such printer", "-o", File("r.html")}).exitCode, 1);
  EXPECT_EQ(ReadBytes(File("r.html")), html) << "a failure leaves the file as it was";
}

TEST(PrivateRecordPage, IsWhatTheTableSays) {
  const ProgramResult result =
      orv::test::RunProgram(ORV_PROGRAM, {"devmode", "fields", "--markdown"});
  std::string page = ReadBytes(ORV_PAGE);
  std::erase(page, '\r');
  EXPECT_EQ(result.output, page)
      << "print it anew: orv devmode fields --markdown > docs/private-record.md";
}

}  // namespace
