#include <algorithm>

#include "xml/name_tables.h"

namespace orv {
namespace {

/// The character entities of HTML 4 and the five of XML, sorted by the code units of their names,
/// so that the upper-case name precedes the lower-case one.
constexpr auto kEntities = std::to_array<NamedValue>({
    {198, L"AElig"},    {193, L"Aacute"},  {194, L"Acirc"},   {192, L"Agrave"},  {913, L"Alpha"},
    {197, L"Aring"},    {195, L"Atilde"},  {196, L"Auml"},    {914, L"Beta"},    {199, L"Ccedil"},
    {935, L"Chi"},      {8225, L"Dagger"}, {916, L"Delta"},   {208, L"ETH"},     {201, L"Eacute"},
    {202, L"Ecirc"},    {200, L"Egrave"},  {917, L"Epsilon"}, {919, L"Eta"},     {203, L"Euml"},
    {915, L"Gamma"},    {205, L"Iacute"},  {206, L"Icirc"},   {204, L"Igrave"},  {921, L"Iota"},
    {207, L"Iuml"},     {922, L"Kappa"},   {923, L"Lambda"},  {924, L"Mu"},      {209, L"Ntilde"},
    {925, L"Nu"},       {338, L"OElig"},   {211, L"Oacute"},  {212, L"Ocirc"},   {210, L"Ograve"},
    {937, L"Omega"},    {927, L"Omicron"}, {216, L"Oslash"},  {213, L"Otilde"},  {214, L"Ouml"},
    {934, L"Phi"},      {928, L"Pi"},      {8243, L"Prime"},  {936, L"Psi"},     {929, L"Rho"},
    {352, L"Scaron"},   {931, L"Sigma"},   {222, L"THORN"},   {932, L"Tau"},     {920, L"Theta"},
    {218, L"Uacute"},   {219, L"Ucirc"},   {217, L"Ugrave"},  {933, L"Upsilon"}, {220, L"Uuml"},
    {926, L"Xi"},       {221, L"Yacute"},  {376, L"Yuml"},    {918, L"Zeta"},    {225, L"aacute"},
    {226, L"acirc"},    {180, L"acute"},   {230, L"aelig"},   {224, L"agrave"},  {8501, L"alefsym"},
    {945, L"alpha"},    {38, L"amp"},      {8743, L"and"},    {8736, L"ang"},    {39, L"apos"},
    {229, L"aring"},    {8776, L"asymp"},  {227, L"atilde"},  {228, L"auml"},    {8222, L"bdquo"},
    {946, L"beta"},     {166, L"brvbar"},  {8226, L"bull"},   {8745, L"cap"},    {231, L"ccedil"},
    {184, L"cedil"},    {162, L"cent"},    {967, L"chi"},     {710, L"circ"},    {9827, L"clubs"},
    {8773, L"cong"},    {169, L"copy"},    {8629, L"crarr"},  {8746, L"cup"},    {164, L"curren"},
    {8659, L"dArr"},    {8224, L"dagger"}, {8595, L"darr"},   {176, L"deg"},     {948, L"delta"},
    {9830, L"diams"},   {247, L"divide"},  {233, L"eacute"},  {234, L"ecirc"},   {232, L"egrave"},
    {8709, L"empty"},   {8195, L"emsp"},   {8194, L"ensp"},   {949, L"epsilon"}, {8801, L"equiv"},
    {951, L"eta"},      {240, L"eth"},     {235, L"euml"},    {8364, L"euro"},   {8707, L"exist"},
    {402, L"fnof"},     {8704, L"forall"}, {189, L"frac12"},  {188, L"frac14"},  {190, L"frac34"},
    {8260, L"frasl"},   {947, L"gamma"},   {8805, L"ge"},     {62, L"gt"},       {8660, L"hArr"},
    {8596, L"harr"},    {9829, L"hearts"}, {8230, L"hellip"}, {237, L"iacute"},  {238, L"icirc"},
    {161, L"iexcl"},    {236, L"igrave"},  {8465, L"image"},  {8734, L"infin"},  {8747, L"int"},
    {953, L"iota"},     {191, L"iquest"},  {8712, L"isin"},   {239, L"iuml"},    {954, L"kappa"},
    {8656, L"lArr"},    {955, L"lambda"},  {9001, L"lang"},   {171, L"laquo"},   {8592, L"larr"},
    {8968, L"lceil"},   {8220, L"ldquo"},  {8804, L"le"},     {8970, L"lfloor"}, {8727, L"lowast"},
    {9674, L"loz"},     {8206, L"lrm"},    {8249, L"lsaquo"}, {8216, L"lsquo"},  {60, L"lt"},
    {175, L"macr"},     {8212, L"mdash"},  {181, L"micro"},   {183, L"middot"},  {8722, L"minus"},
    {956, L"mu"},       {8711, L"nabla"},  {160, L"nbsp"},    {8211, L"ndash"},  {8800, L"ne"},
    {8715, L"ni"},      {172, L"not"},     {8713, L"notin"},  {8836, L"nsub"},   {241, L"ntilde"},
    {957, L"nu"},       {243, L"oacute"},  {244, L"ocirc"},   {339, L"oelig"},   {242, L"ograve"},
    {8254, L"oline"},   {969, L"omega"},   {959, L"omicron"}, {8853, L"oplus"},  {8744, L"or"},
    {170, L"ordf"},     {186, L"ordm"},    {248, L"oslash"},  {245, L"otilde"},  {8855, L"otimes"},
    {246, L"ouml"},     {182, L"para"},    {8706, L"part"},   {8240, L"permil"}, {8869, L"perp"},
    {966, L"phi"},      {960, L"pi"},      {982, L"piv"},     {177, L"plusmn"},  {163, L"pound"},
    {8242, L"prime"},   {8719, L"prod"},   {8733, L"prop"},   {968, L"psi"},     {34, L"quot"},
    {8658, L"rArr"},    {8730, L"radic"},  {9002, L"rang"},   {187, L"raquo"},   {8594, L"rarr"},
    {8969, L"rceil"},   {8221, L"rdquo"},  {8476, L"real"},   {174, L"reg"},     {8971, L"rfloor"},
    {961, L"rho"},      {8207, L"rlm"},    {8250, L"rsaquo"}, {8217, L"rsquo"},  {8218, L"sbquo"},
    {353, L"scaron"},   {8901, L"sdot"},   {167, L"sect"},    {173, L"shy"},     {963, L"sigma"},
    {962, L"sigmaf"},   {8764, L"sim"},    {9824, L"spades"}, {8834, L"sub"},    {8838, L"sube"},
    {8721, L"sum"},     {8835, L"sup"},    {185, L"sup1"},    {178, L"sup2"},    {179, L"sup3"},
    {8839, L"supe"},    {223, L"szlig"},   {964, L"tau"},     {8756, L"there4"}, {952, L"theta"},
    {977, L"thetasym"}, {8201, L"thinsp"}, {254, L"thorn"},   {732, L"tilde"},   {215, L"times"},
    {8482, L"trade"},   {8657, L"uArr"},   {250, L"uacute"},  {8593, L"uarr"},   {251, L"ucirc"},
    {249, L"ugrave"},   {168, L"uml"},     {978, L"upsih"},   {965, L"upsilon"}, {252, L"uuml"},
    {8472, L"weierp"},  {958, L"xi"},      {253, L"yacute"},  {165, L"yen"},     {255, L"yuml"},
    {950, L"zeta"},     {8205, L"zwj"},    {8204, L"zwnj"},
});

template <std::size_t kSize>
using EntityTable = NameBuckets<130, 1, 4, kSize>;

constexpr EntityTable<EntityTable<1>::SizeFor(kEntities)> kEntityTable(kEntities);

}  // namespace

const wchar_t* EntityBucket(std::size_t bucket) { return kEntityTable.Bucket(bucket); }

int FindEntity(std::wstring_view lowerName) { return kEntityTable.Find(lowerName); }

int FindExactEntity(std::wstring_view name) {
  const auto* const found = std::ranges::find(kEntities, name, &NamedValue::name);
  return found != kEntities.end() ? found->value : -1;
}

}  // namespace orv
