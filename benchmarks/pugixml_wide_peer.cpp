// pugixml in wide mode, compiled from its source in another namespace than the packaged library.

#define PUGIXML_WCHAR_MODE
#define pugi pugi_wide
#include <pugixml.cpp>

#define PEER_STRING std::wstring
#define PEER_ENCODING pugi::encoding_wchar
#define PEER_PARSE PugixmlWideParse
#define PEER_PROPERTIES PugixmlWideProperties
#define PEER_NAME(text) L##text
#define PEER_LOAD PugixmlWideLoad
#define PEER_EDIT PugixmlWideEdit
#define PEER_WALK PugixmlWideWalk
#include "benchmarks/pugixml_peer.inc"
