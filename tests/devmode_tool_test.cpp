#include <optional>
#include <random>
#include <regex>

#include "orv/platform/registry.h"
#include "orv/text/utf8.h"
#include "orv/xml/markup.h"
#include "tests/devmode_fixture.h"
#include "tests/program_runs.h"

namespace {

using orv::test::ExpectDone;
using orv::test::ExpectRuns;
using orv::test::ModuleFolder;
using orv::test::ProgramResult;
using orv::test::ReadBytes;
using orv::test::WriteBytes;
using testing::_;
using testing::AllOf;
using testing::HasSubstr;

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

  std::string File(const char* name) { return (folder_.path() / name).string(); }
  std::string Configs() { return module_.folder().path().string(); }

  const std::string name_ = "orv test " + std::to_string(orv::test::OwnProcessId());
  orv::test::TemporaryFolder folder_;
  std::optional<orv::test::TestPrinter> printer_;
  ModuleFolder module_;
};

TEST_F(DevmodeTool, TextFormKeepsEveryByte) {
  std::mt19937 random(44);
  for (int round = 0; round < 3; ++round) {
    std::string bytes(2688, '\0');
    for (char& byte : bytes) byte = static_cast<char>(round == 0 ? 0 : random());
    if (round == 2)
      bytes.replace(1936, 80, std::string("\0a\"\\\n\x7F\0", 7) + std::string(73, '\0'));
    WriteBytes(File("a.dev"), bytes);
    ExpectRuns({{{"devmode", "text", File("a.dev"), "-o", File("a.txt")}, 0, _},
                {{"devmode", "bytes", File("a.txt"), "-o", File("b.dev")}, 0, _},
                {{"devmode", "diff", File("a.dev"), File("a.txt")}, 0, _}});
    EXPECT_EQ(ReadBytes(File("b.dev")), bytes);
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
    ExpectRuns({{{"devmode", "show", File("a.txt")}, 1, HasSubstr("a.txt:3: ")}});
  }
  WriteBytes(File("a.dev"), std::string(2687, '\0'));
  ExpectRuns(
      {{{"devmode", "show", File("a.dev")}, 1, _},
       {{"devmode", "show", File("none")}, 3, _},
       {{"devmode", "default", "None", "-o", File("a.dev")}, 1, _},
       {{"printers", "config", "None"}, 1, _},
       {{"printers", "config", name_, "--config-dir", File("none")}, 1, HasSubstr("does not load")},
       {{"printers", "config", name_, "--config-dir", Configs(), "--json"},
        0,
        HasSubstr("\"secondFromCache\": true")}});
}

TEST_F(DevmodeTool, SaysWhyAMergeIsRefused) {
  std::string bytes(2688, '\0');
  const auto expect = [&](const char* copies, int exitCode, const char* said) {
    WriteBytes(File("a.dev"), bytes);
    ExpectRuns({{{"devmode", "merge", name_, "--in", File("a.dev"), "-o", File("m.dev"),
                  "--config-dir", Configs(), "--copies", copies},
                 exitCode,
                 HasSubstr(said)}});
  };
  expect("2", 1, "its signature is 0");
  bytes.replace(4, 4, "1VRO");
  expect("2", 1, "its version is 0");
  bytes[8] = 16;
  expect("2", 0, "");
  expect("1.5", 2, "--copies takes whole numbers");
  expect("-1", 2, "-1 is not in the range 1 to 32767");
  for (const char* width : {"4000", "-1"}) {
    ExpectRuns({{{"devmode", "explain", name_, "--width", width, "--config-dir", Configs()},
                 2,
                 HasSubstr("takes a length from 0 to 3276.7 mm")}});
  }
}

TEST_F(DevmodeTool, MergesChecksAndExplains) {
  ExpectDone(
      {"devmode", "default", name_, "-o", File("a.txt"), "--text", "--config-dir", Configs()});
  std::string text = ReadBytes(File("a.txt"));
  const auto set = [&](const std::string& name, const std::string& value) {
    const std::size_t at = text.find("\n" + name + " = ") + 1;
    text.replace(at, text.find('\n', at) - at, name + " = " + value);
  };
  set("BackFeedSpeed", "50");
  set("Darkness", "11");
  set("UnprintableLeft", "70000");
  WriteBytes(File("bad.txt"), text);
  ExpectRuns({{{"devmode", "check", File("bad.txt"), "--printer", name_, "--config-dir", Configs()},
               1,
               AllOf(HasSubstr("wraps"), HasSubstr("one of -10, -5 ... 20"))},
              {{"devmode", "merge", name_, "--in", File("bad.txt"), "--width", "50.5", "--length",
                "30", "--copies", "2", "--form", "Form", "-o", File("m.dev"), "--config-dir",
                Configs(), "--json"},
               0,
               HasSubstr("\"corrections\": \"UnprintableRight:0->-19500 Darkness:11->10 \"")},
              {{"devmode", "diff", File("bad.txt"), File("m.dev")},
               1,
               AllOf(HasSubstr("\nUnprintableRight "), HasSubstr("\nDarkness "),
                     HasSubstr(" 50.5 mm\n"), HasSubstr("\nPaperHeight "))},
              {{"stock", "add", "Shelf", "--printer", name_, "--width", "44", "--length", "33",
                "--set", "Darkness=15", "--set", "lengthscaling=-2"},
               0,
               _}});
  EXPECT_EQ(ReadBytes(File("bad.txt")), text) << "checking changes nothing";
  const ProgramResult explained =
      orv::test::RunProgram(ORV_PROGRAM, {"devmode", "explain", name_, "--in", File("bad.txt"),
                                          "--paper-size", "257", "--config-dir", Configs()});
  EXPECT_EQ(explained.exitCode, 0) << explained.messages;
  const std::string rows = std::regex_replace(explained.output, std::regex("[ \\r]+"), " ");
  for (const char* row :
       {"Darkness 11 10 15 -10, -5 ... 20 15 stock item of the paper size",
        "LengthScaling 0 0 -2 -5 to 5 -2 stock item of the paper size",
        "PaperWidth 60 mm 60 mm 44 mm 10 mm to 100 mm 44 mm stock item of the paper size",
        "GrayTolerance 128 128 0 to 255 128 carried, allowed"}) {
    EXPECT_THAT(rows, HasSubstr("\n" + std::string(row) + "\n"));
  }
}

TEST_F(DevmodeTool, StockItemsGoOutAndIn) {
  const std::string guid = "{00000001-0002-0003-0405-060708090A0B}";
  WriteBytes(File("d.reg"), "Windows Registry Editor Version 5.00\r\n\r\n[-HKEY_CURRENT_USER\\x\\" +
                                guid + "]\r\n");
  const std::string tooLong(130, 'n');
  ExpectRuns(
      {{{"stock", "add", "Shelf", "-p", name_, "--guid", guid, "--width", "44"}, 0, guid + "\n"},
       {{"stock", "add", "Other", "-p", name_, "--guid", guid}, 1, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--set", "NoSuch=1"}, 2, _},
       {{"stock", "add", "", "-p", name_}, 2, _},
       {{"stock", "add", tooLong, "-p", name_}, 2, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--name", ""}, 2, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--name", tooLong}, 2, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--set", "Mirror=-2147483649"}, 2, _},
       // Only lengths have a unit of lengths.
       {{"stock", "edit", "Shelf", "-p", name_, "--set", "Mirror=1mm"}, 2, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--set", "GapDistance=0.1in", "--set",
         "OffsetX=-2mm"},
        0,
        _},
       {{"stock", "list", "-p", name_, "--json"},
        0,
        AllOf(HasSubstr("\"GapDistance\": 2540,"), HasSubstr("\"OffsetX\": -2000,"))},
       {{"stock", "edit", "Shlef", "-p", name_}, 1, HasSubstr("mean Shelf?")},
       {{"stock", "edit", "None", "-p", name_, "--length", "5"}, 1, _},
       {{"stock", "edit", "Shelf", "-p", name_, "--length", "5", "--name", "Bin"}, 0, _},
       {{"stock", "export", "-p", name_, "-o", File("s.reg")}, 0, _},
       {{"stock", "import", File("s.reg"), "--common"}, 0, "1 stock item\n"},
       {{"stock", "import", File("d.reg"), "-p", name_}, 0, "0 stock items\n"},
       {{"stock", "remove", guid, "-p", name_}, 0, _},
       // The common one has taken its place.
       {{"stock", "list", "-p", name_},
        0,
        HasSubstr("257         " + guid + "  Bin   44 mm  5 mm")},
       {{"stock", "remove", guid, "--common"}, 0, _},
       {{"stock", "list"}, 2, _}});
}

TEST_F(DevmodeTool, ShowsLengthsInInchesWhenAskedTo) {
  const std::string page = ORV_EXAMPLES "/label_page.png";
  const std::string model = ORV_EXAMPLES "/orv_conf_lx300.xml";
  ExpectRuns(
      {{{"stock", "add", "Shelf", "-p", name_, "--width", "50.8", "--length", "1in"}, 0, _},
       {{"stock", "list", "-p", name_, "--inch"}, 0, HasSubstr("Shelf  2 in   1 in ")},
       {{"devmode", "merge", name_, "--config-dir", Configs(), "--width", "50.8", "-o",
         File("a.dev"), "--inch"},
        0,
        HasSubstr("width        2 in\n")},
       {{"devmode", "explain", name_, "--config-dir", Configs(), "--in", File("a.dev"), "--inch"},
        0,
        HasSubstr(" 0.3937 in to 3.93701 in ")},
       {{"devmode", "show", File("a.dev"), "--inch"}, 0, HasSubstr("  1/1000 mm: 2 in  ")},
       {{"config", "show", model, "--inch"},
        0,
        AllOf(HasSubstr(" 106000 (4.17323 in)\n"), HasSubstr(" (1.9685 in/s, 2.95276 in/s, "))},
       {{"page", "bounds", page, "--inch"}, 0, HasSubstr(" 4.00 x 6.00 in\n")},
       {{"report", name_, "--page", page, "-o", "-", "--inch"},
        0,
        HasSubstr(", 4.00 x 6.00 in, ")}});
}

TEST_F(DevmodeTool, ReportsAPrinterAsOneWholePage) {
  const std::string hostile = "<script>&\"'</script>";
  const std::string escaped = "&lt;script&gt;&amp;&quot;&#39;&lt;/script&gt;";
  ExpectDone({"stock", "add", hostile, "-p", name_, "--width", "44"});
  std::string log = "05.03.2024\t14:07:09.042\tERR\tp.exe\tm.dll\tConfig\tthe first\r\n";
  for (int i = 0; i < 200; ++i)
    log += "05.03.2024\t14:07:09.043\tINF\tp\tm\t\t" + hostile + "\1\r\n";
  WriteBytes(File("a.log"), orv::test::Utf16Bytes(orv::Utf8ToWide(log)));
  WriteBytes(File("a.txt"),
             "# orv private settings record\ndwSignature = 1330796081\ndwVersion = 16\n");
  const std::string page = ORV_EXAMPLES "/label_page.png";
  const auto report = [&](const std::string& configs, std::vector<std::string> more, int exitCode,
                          const testing::Matcher<const std::string&>& said) {
    more.insert(more.begin(), {"report", name_, "--config-dir", configs, "--log", File("a.log"),
                               "--record", File("a.txt")});
    ExpectRuns({{more, exitCode, said}});
  };
  report(Configs(),
         {"-o", File("r.html"), "--paper-size", "257", "--page", page, "--colour", "E02020"}, 0,
         "");
  const std::string html = ReadBytes(File("r.html"));
  CMarkup xml;
  EXPECT_TRUE(xml.SetDoc(orv::Utf8ToWide(html))) << orv::WideToUtf8(xml.GetError());
  for (const char* part : {"<script", "://", "the first", " src=\"h", "url("}) {
    EXPECT_EQ(html.find(part), html.npos) << part;
  }
  // The item's name, its place in the record, a message with a control character; why a value is
  // what it is; what of the log was cut off.
  for (const std::string& part :
       {"<div>" + escaped + "<small>{", "From the stock item &quot;" + escaped + "&quot; (",
        "<div>" + escaped + "\\x01</div>", std::string("stock item of the paper size"),
        std::string("must be one of 50, 100, 200; falls back to printSpeeds.defaultSpeed / 1000"),
        std::string("last 200 of 201 entries are shown; before them there are 1 error, 0 warn")}) {
    EXPECT_NE(html.find(part), html.npos) << part;
  }
  // The planes, in the order black, coloured, both.
  ExpectDone({"page", "split", page, "--colour", "E02020", "--background", File("0.png"),
              "--highlight", File("1.png"), "--preview", File("2.png")});
  std::size_t at = 0;
  for (const char* plane : {"0.png", "1.png", "2.png"}) {
    const std::string png = ReadBytes(File(plane));
    std::string text = orv::WideToUtf8(CMarkup::EncodeBase64(
        reinterpret_cast<const unsigned char*>(png.data()), static_cast<int>(png.size())));
    std::erase_if(text, [](char sign) { return sign == '\r' || sign == '\n'; });
    at = html.find("src=\"data:image/png;base64," + text, at);
    EXPECT_NE(at, html.npos) << plane;
  }

  // Without its configuration the record is shown as it is.
  report(File("none"), {"-o", "-"}, 0,
         AllOf(testing::StartsWith("<!DOCTYPE html>"), HasSubstr("does not load: cannot read "),
               HasSubstr("<caption>As it was given</caption>")));
  report(Configs(), {"-o", "-", "--paper-size", "999"}, 0,
         HasSubstr("paper size 999 is not known"));
  report(Configs(), {"-o", File("none/r.html")}, 3, _);
  report(Configs(), {"-o", File("r.html"), "--page", File("a.txt")}, 3, _);
  report(Configs(), {"-o", File("r.html"), "--tolerance", "1"}, 2, _);
  ExpectRuns({{{"report", "no such printer", "-o", File("r.html")}, 1, _}});
  EXPECT_EQ(ReadBytes(File("r.html")), html) << "a failure leaves the file as it was";
}

TEST(PrivateRecordPage, IsWhatTheTableSays) {
  std::string page = ReadBytes(ORV_PAGE);
  std::erase(page, '\r');
  // To print it anew: orv devmode fields --markdown > docs/private-record.md
  ExpectRuns({{{"devmode", "fields", "--markdown"}, 0, page}});
}

}  // namespace
