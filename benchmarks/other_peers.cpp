#include <expat.h>
#include <libxml/parser.h>

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
