#define PEER_STRING std::string
#define PEER_ENCODING pugi::encoding_utf8
#define PEER_PARSE PugixmlParse
#define PEER_PROPERTIES PugixmlProperties
#define PEER_NAME(text) text
#define PEER_LOAD PugixmlLoad
#define PEER_EDIT PugixmlEdit
#define PEER_WALK PugixmlWalk
#include "benchmarks/pugixml_peer.inc"
