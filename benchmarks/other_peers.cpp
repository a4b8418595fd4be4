#include <expat.h>
#include <libxml/parser.h>

#include <cstdio>
#include <cstring>
#include <rapidxml/rapidxml.hpp>
#include <vector>

#include "benchmarks/peers.h"

namespace orv::bench {

PeerResult ExpatParse(const std::string& text) {
  XML_Parser parser = XML_ParserCreate(nullptr);
  std::size_t elements = 0;
  XML_SetUserData(parser, &elements);
  XML_SetStartElementHandler(parser, [](void* count, const XML_Char*, const XML_Char**) {
    ++*static_cast<std::size_t*>(count);
  });
  const bool isGood =
      XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK;
  XML_ParserFree(parser);
  return {isGood, elements};
}

namespace {

struct Search {
  XML_Parser parser;
  const char* name;  ///< empty for all elements
  PeerResult result;
};

void CountElement(void* data, const XML_Char* name, const XML_Char**) {
  Search& search = *static_cast<Search*>(data);
  ++search.result.seen;
  if (*search.name == 0 || std::strcmp(name, search.name) != 0) return;
  search.result.isGood = true;
  XML_StopParser(search.parser, XML_FALSE);
}

}  // namespace

PeerResult ExpatReadFile(const std::string& file, const std::string& name) {
  constexpr int kPart = 1 << 16;
  std::FILE* const in = std::fopen(file.c_str(), "rb");
  if (in == nullptr) return {false, 0};
  std::setvbuf(in, nullptr, _IONBF, 0);
  Search search{XML_ParserCreate(nullptr), name.c_str(), {false, 0}};
  XML_SetUserData(search.parser, &search);
  XML_SetStartElementHandler(search.parser, CountElement);
  for (bool isDone = false; !isDone;) {
    const std::size_t size = std::fread(XML_GetBuffer(search.parser, kPart), 1, kPart, in);
    isDone = size < kPart;
    if (XML_ParseBuffer(search.parser, static_cast<int>(size), isDone) != XML_STATUS_OK) break;
    if (isDone && name.empty()) search.result.isGood = true;
  }
  XML_ParserFree(search.parser);
  std::fclose(in);
  return search.result;
}

PeerResult LibxmlParse(const std::string& text) {
  xmlDocPtr doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                XML_PARSE_HUGE | XML_PARSE_NONET);
  xmlFreeDoc(doc);
  return {doc != nullptr, 0};
}

PeerResult RapidxmlParse(const std::string& text) {
  std::vector<char> copy(text.c_str(), text.c_str() + text.size() + 1);
  rapidxml::xml_document<> doc;
  try {
    doc.parse<rapidxml::parse_default>(copy.data());
  } catch (const rapidxml::parse_error&) {
    return {false, 0};
  }
  return {doc.first_node() != nullptr, 0};
}

}  // namespace orv::bench
