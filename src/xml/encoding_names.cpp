#include "xml/name_tables.h"

#include <algorithm>

namespace orv {
namespace {

/// A Windows code page and its encoding names, separated by spaces.
struct PageNames {
  int codePage;
  std::wstring_view names;
};

/// A name in both lists appears only in the first, with its Windows code page. Kept for
/// compatibility: buckets 0, 1, 2 and 4 hold only "ksc_5601"; "cseucpkdfmtjapanese" and
/// "x-cp20003"; "l1" and "x-cp20004"; "ibm850" and "ccsid00858". Any other name that belongs in one
/// of them, such as "l3" or "ibm037", is left out of the list.
constexpr PageNames kPages[] = {
    // The names registered with IANA, in the order of its registry.
    {20127,
     L"us-ascii iso-ir-6 ansi_x3.4-1968 ansi_x3.4-1986 iso_646.irv:1991 iso646-us us ibm367 cp367 "
     L"csascii"},
    {28591, L"iso_8859-1:1987 iso-ir-100 iso_8859-1 iso-8859-1 latin1 l1 ibm819 cp819 csisolatin1"},
    {28592, L"iso_8859-2:1987 iso-ir-101 iso_8859-2 iso-8859-2 latin2 l2 csisolatin2"},
    {28593, L"iso_8859-3:1988 iso-ir-109 iso_8859-3 iso-8859-3 latin3 csisolatin3"},
    {28594, L"iso_8859-4:1988 iso-ir-110 iso_8859-4 iso-8859-4 latin4 l4 csisolatin4"},
    {28595, L"iso_8859-5:1988 iso-ir-144 iso_8859-5 iso-8859-5 cyrillic csisolatincyrillic"},
    {28596, L"iso_8859-6:1987 iso-ir-127 iso_8859-6 iso-8859-6 ecma-114 arabic csisolatinarabic"},
    {28597,
     L"iso_8859-7:1987 iso-ir-126 iso_8859-7 iso-8859-7 elot_928 ecma-118 greek greek8 "
     L"csisolatingreek"},
    {28598, L"iso_8859-8:1988 iso-ir-138 iso_8859-8 iso-8859-8 hebrew csisolatinhebrew"},
    {28599, L"iso_8859-9:1989 iso-ir-148 iso_8859-9 iso-8859-9 latin5 l5 csisolatin5"},
    {932, L"shift_jis ms_kanji csshiftjis"},
    {20932, L"extended_unix_code_packed_format_for_japanese cseucpkdfmtjapanese euc-jp"},
    {20107, L"sen_850200_b iso-ir-10 fi iso646-fi iso646-se se csiso10swedish"},
    {20106, L"din_66003 iso-ir-21 de iso646-de csiso21german"},
    {949, L"ks_c_5601-1987 iso-ir-149 ks_c_5601-1989 ksc_5601 korean csksc56011987"},
    {50225, L"iso-2022-kr csiso2022kr"},
    {51949, L"euc-kr cseuckr"},
    {50220, L"iso-2022-jp"},
    {50221, L"csiso2022jp"},
    {936, L"gb_2312-80 iso-ir-58 chinese csiso58gb231280"},
    {20108, L"iso-ir-60 iso646-no no csiso60danishnorwegian csiso60norwegian1"},
    {20261, L"t.61-8bit t.61 iso-ir-103 csiso103t618bit"},
    {38598, L"iso_8859-8-i iso-8859-8-i csiso88598i"},
    {65000, L"unicode-1-1-utf-7 csunicode11utf7"},
    {65001, L"utf-8 csutf8"},
    {28603, L"iso-8859-13 csiso885913"},
    {28605, L"iso-8859-15 iso_8859-15 latin-9 csiso885915"},
    {936, L"gbk cp936 ms936 windows-936 csgbk"},
    {54936, L"gb18030 csgb18030"},
    {1200, L"iso-10646-ucs-2 csunicode"},
    {65005, L"iso-10646-ucs-4 csucs4"},
    {65000, L"utf-7 csutf7"},
    {1201, L"utf-16be csutf16be"},
    {1200, L"utf-16le csutf16le utf-16 csutf16"},
    {65005, L"utf-32 csutf32 utf-32be csutf32be utf-32le csutf32le"},
    {850, L"ibm850 cp850 cspc850multilingual"},
    {862, L"ibm862 cp862 862 cspc862latinhebrew"},
    {874, L"tis-620 cstis620 iso-8859-11"},
    {932, L"windows-31j cswindows31j"},
    {936, L"gb2312 csgb2312"},
    {950, L"big5 csbig5"},
    {10000, L"macintosh mac csmacintosh"},
    {37, L"cp037 ebcdic-cp-us ebcdic-cp-ca ebcdic-cp-wt ebcdic-cp-nl csibm037"},
    {20273, L"ibm273 cp273 csibm273"},
    {20277, L"ibm277 ebcdic-cp-dk ebcdic-cp-no csibm277"},
    {20278, L"ibm278 cp278 ebcdic-cp-fi ebcdic-cp-se csibm278"},
    {20280, L"cp280 ebcdic-cp-it csibm280"},
    {20284, L"ibm284 cp284 ebcdic-cp-es csibm284"},
    {20285, L"ibm285 cp285 ebcdic-cp-gb csibm285"},
    {20290, L"cp290 ebcdic-jp-kana csibm290"},
    {20297, L"ibm297 cp297 ebcdic-cp-fr csibm297"},
    {20420, L"ibm420 cp420 ebcdic-cp-ar1 csibm420"},
    {20423, L"cp423 ebcdic-cp-gr csibm423"},
    {20424, L"cp424 ebcdic-cp-he csibm424"},
    {437, L"ibm437 cp437 437 cspc8codepage437"},
    {500, L"ibm500 cp500 ebcdic-cp-be ebcdic-cp-ch csibm500"},
    {852, L"ibm852 cp852 cspcp852"},
    {855, L"ibm855 cp855 855 csibm855"},
    {857, L"ibm857 cp857 857 csibm857"},
    {860, L"ibm860 cp860 860 csibm860"},
    {861, L"ibm861 cp861 cp-is csibm861"},
    {863, L"ibm863 cp863 863 csibm863"},
    {864, L"ibm864 cp864 csibm864"},
    {865, L"ibm865 cp865 865 csibm865"},
    {869, L"ibm869 cp869 869 cp-gr csibm869"},
    {870, L"ibm870 cp870 ebcdic-cp-roece ebcdic-cp-yu csibm870"},
    {20871, L"ibm871 cp871 ebcdic-cp-is csibm871"},
    {20880, L"ibm880 cp880 ebcdic-cyrillic csibm880"},
    {20905, L"ibm905 cp905 ebcdic-cp-tr csibm905"},
    {1026, L"ibm1026 cp1026 csibm1026"},
    {20866, L"koi8-r cskoi8r"},
    {52936, L"hz-gb-2312"},
    {866, L"ibm866 cp866 866 csibm866"},
    {775, L"ibm775 cp775 cspc775baltic"},
    {21866, L"koi8-u cskoi8u"},
    {858, L"ibm00858 ccsid00858 cp00858 pc-multilingual-850+euro csibm00858"},
    {20924, L"ibm00924 ccsid00924 ebcdic-latin9--euro csibm00924"},
    {1140, L"ibm01140 ccsid01140 cp01140 ebcdic-us-37+euro csibm01140"},
    {1141, L"ibm01141 ccsid01141 cp01141 ebcdic-de-273+euro csibm01141"},
    {1142, L"ibm01142 ccsid01142 cp01142 ebcdic-dk-277+euro ebcdic-no-277+euro csibm01142"},
    {1143, L"ibm01143 ccsid01143 cp01143 ebcdic-fi-278+euro ebcdic-se-278+euro"},
    {1144, L"ibm01144 ccsid01144 cp01144 ebcdic-it-280+euro"},
    {1145, L"ibm01145 ccsid01145 cp01145"},
    {1146, L"ibm01146 ccsid01146 cp01146 ebcdic-gb-285+euro csibm01146"},
    {1147, L"ibm01147 ccsid01147 cp01147 ebcdic-fr-297+euro"},
    {1148, L"ibm01148 ccsid01148 ebcdic-international-500+euro csibm01148"},
    {1149, L"ibm01149 ccsid01149 ebcdic-is-871+euro csibm01149"},
    {1047, L"ibm1047 ibm-1047 csibm1047"},
    {1250, L"windows-1250 cswindows1250"},
    {1251, L"windows-1251 cswindows1251"},
    {1252, L"windows-1252 cswindows1252"},
    {1253, L"windows-1253 cswindows1253"},
    {1254, L"windows-1254 cswindows1254"},
    {1255, L"windows-1255 cswindows1255"},
    {1256, L"windows-1256 cswindows1256"},
    {1257, L"windows-1257 cswindows1257"},
    {1258, L"windows-1258 cswindows1258"},
    {20838, L"csibmthai"},
    {874, L"windows-874 cswindows874"},
    // The names that Windows gives its pages besides.
    {20127, L"ascii"},
    {708, L"asmo-708"},
    {720, L"dos-720"},
    {737, L"ibm737"},
    {862, L"dos-862"},
    {874, L"dos-874"},
    {875, L"cp875"},
    {932, L"sjis x-sjis shift-jis x-ms-cp932"},
    {936, L"cn-gb csgb231280 gb2312-80 gb231280"},
    {949, L"ks-c5601 ks-c-5601 ksc5601 ks_c_5601 ks_c_5601_1987"},
    {950, L"big5-hkscs cn-big5 x-x-big5"},
    {1200, L"unicode ucs-2"},
    {1201, L"unicodefffe"},
    {1250, L"x-cp1250"},
    {1251, L"x-cp1251"},
    {1252, L"x-ansi"},
    {1361, L"johab"},
    {10001, L"x-mac-japanese"},
    {10002, L"x-mac-chinesetrad"},
    {10003, L"x-mac-korean"},
    {10004, L"x-mac-arabic"},
    {10005, L"x-mac-hebrew"},
    {10006, L"x-mac-greek"},
    {10007, L"x-mac-cyrillic"},
    {10008, L"x-mac-chinesesimp"},
    {10010, L"x-mac-romanian"},
    {10017, L"x-mac-ukrainian"},
    {10021, L"x-mac-thai"},
    {10029, L"x-mac-ce"},
    {10079, L"x-mac-icelandic"},
    {10081, L"x-mac-turkish"},
    {10082, L"x-mac-croatian"},
    {20000, L"x-chinese-cns"},
    {20001, L"x-cp20001"},
    {20002, L"x-chinese-eten"},
    {20003, L"x-cp20003"},
    {20004, L"x-cp20004"},
    {20005, L"x-cp20005"},
    {20105, L"x-ia5 irv"},
    {20106, L"x-ia5-german"},
    {20107, L"x-ia5-swedish"},
    {20108, L"x-ia5-norwegian"},
    {20261, L"x-cp20261"},
    {20269, L"x-cp20269"},
    {20273, L"x-ebcdic-germany"},
    {20277, L"x-ebcdic-denmarknorway"},
    {20278, L"x-ebcdic-finlandsweden"},
    {20280, L"x-ebcdic-italy"},
    {20284, L"x-ebcdic-spain"},
    {20285, L"x-ebcdic-uk"},
    {20290, L"x-ebcdic-japanesekatakana"},
    {20297, L"x-ebcdic-france"},
    {20420, L"x-ebcdic-arabic"},
    {20423, L"x-ebcdic-greek"},
    {20424, L"x-ebcdic-hebrew"},
    {20833, L"x-ebcdic-koreanextended"},
    {20838, L"x-ebcdic-thai"},
    {20866, L"koi koi8 koi8r"},
    {20871, L"x-ebcdic-icelandic"},
    {20880, L"x-ebcdic-cyrillicrussian"},
    {20905, L"x-ebcdic-turkish"},
    {20932, L"x-euc x-euc-jp iso-2022-jpeuc"},
    {20936, L"x-cp20936"},
    {20949, L"x-cp20949"},
    {21025, L"cp1025 x-ebcdic-cyrillicserbianbulgarian"},
    {21866, L"koi8-ru"},
    {28591, L"iso8859-1"},
    {28592, L"iso8859-2"},
    {28593, L"iso8859-3"},
    {28594, L"iso8859-4"},
    {28595, L"iso8859-5"},
    {28596, L"iso8859-6"},
    {28597, L"iso8859-7"},
    {28598, L"iso8859-8 visual"},
    {28599, L"iso8859-9"},
    {28605, L"iso8859-15 latin9 l9 csisolatin9"},
    {29001, L"x-europa"},
    {38598, L"logical"},
    {50225, L"iso-2022-kr-7 iso-2022-kr-7bit"},
    {50227, L"x-cp50227"},
    {51936, L"euc-cn x-euc-cn"},
    {51949, L"iso-2022-kr-8 iso-2022-kr-8bit"},
    {57002, L"x-iscii-de"},
    {57003, L"x-iscii-be"},
    {57004, L"x-iscii-ta"},
    {57005, L"x-iscii-te"},
    {57006, L"x-iscii-as"},
    {57007, L"x-iscii-or"},
    {57008, L"x-iscii-ka"},
    {57009, L"x-iscii-ma"},
    {57010, L"x-iscii-gu"},
    {57011, L"x-iscii-pa"},
    {65000, L"unicode-2-0-utf-7 x-unicode-1-1-utf-7 x-unicode-2-0-utf-7"},
    {65001, L"unicode-1-1-utf-8 unicode-2-0-utf-8 x-unicode-1-1-utf-8 x-unicode-2-0-utf-8"},
};

/// Calls `visit` with each name and its code page, in table order.
template <class Visitor>
constexpr void ForEachName(Visitor visit) {
  for (const PageNames& page : kPages) {
    std::wstring_view names = page.names;
    while (!names.empty()) {
      const std::size_t end = std::min(names.find(L' '), names.size());
      visit(NamedValue{page.codePage, names.substr(0, end)});
      names.remove_prefix(std::min(end + 1, names.size()));
    }
  }
}

constexpr std::size_t kNameCount = [] {
  std::size_t count = 0;
  ForEachName([&count](const NamedValue&) { ++count; });
  return count;
}();

constexpr auto kNames = [] {
  std::array<NamedValue, kNameCount> names{};
  std::size_t count = 0;
  ForEachName([&](const NamedValue& name) { names[count++] = name; });
  return names;
}();

template <std::size_t kSize>
using EncodingTable = NameBuckets<kEncodingBuckets, 2, 5, kSize>;

constexpr EncodingTable<EncodingTable<1>::SizeFor(kNames)> kEncodingTable(kNames);

}  // namespace

const wchar_t* EncodingBucket(std::size_t bucket) { return kEncodingTable.Bucket(bucket); }

int FindEncoding(std::wstring_view lowerName) { return kEncodingTable.Find(lowerName); }

}  // namespace orv
