/* A program that has only orv/c_api.h, for a compiler with other conventions than the library's: it needs no
   run-time library. Its exit code is 0, or the line of the first wrong result. */

#include "orv/c_api.h"

/* The compiler's mark for code with floating-point numbers, which its run-time library defines. */
int _fltused = 0;

#define CHECK(condition) \
  if (!(condition)) return __LINE__

/* Widens a text; returns its length. */
static uint32_t Widen(const char* text, uint16_t* units) {
  uint32_t length = 0;
  for (; text[length] != '\0'; ++length) units[length] = (uint16_t)text[length];
  return length;
}

static int Load(orv_config** config) {
  static uint16_t path[64];
  static uint16_t name[64];
  static uint16_t reason[64];
  uint32_t length = Widen("README.md", path);
  uint32_t reason_length = 0;
  int32_t width = 0;
  CHECK(orv_config_load(path, length, NULL, config, reason, 64, &reason_length) ==
        ORV_ERROR_MALFORMED);
  CHECK(reason_length > 0 && reason[0] == 't' && *config == NULL);
  length = Widen("examples/orv_conf_lx300.xml", path);
  CHECK(orv_config_load(path, length, NULL, config, NULL, 0, NULL) == ORV_OK);
  CHECK(orv_config_integer(*config, name, Widen("label.widthMax", name), &width) == ORV_OK);
  CHECK(width == 106000);
  return 0;
}

static int Repair(const orv_config* config) {
  enum { kInvert = 1656 };
  static uint8_t record[ORV_RECORD_SIZE];
  static uint16_t corrections[64];
  uint32_t length = 0;
  CHECK(orv_record_default(config, record, sizeof(record)) == ORV_OK);
  record[kInvert] = 2;
  CHECK(orv_record_validate(config, NULL, record, record, sizeof(record), corrections, 64,
                            &length) == ORV_OK);
  CHECK(record[kInvert] == 0 && length >= 7 && corrections[6] == ':');
  CHECK(orv_record_explain(config, record, sizeof(record), NULL, 0, &length) == ORV_ERROR_BUFFER);
  CHECK(length > 1000);
  return 0;
}

static int Split(void) {
  static uint8_t planes[3][6] = {{0, 0, 255, 0, 0, 0}}; /* red, black */
  static uint8_t bits[1];
  static orv_image images[4];
  int32_t bounds[4];
  int i;
  for (i = 0; i < 4; ++i) {
    images[i].size = sizeof(orv_image);
    images[i].format = i < 3 ? ORV_FORMAT_BGR24 : ORV_FORMAT_BIT1;
    images[i].width = 2;
    images[i].height = 1;
    images[i].stride = i < 3 ? 6 : 1;
    images[i].pixels = i < 3 ? planes[i] : bits;
  }
  CHECK(orv_page_split(&images[0], 0xFF0000, 0.01, ORV_DITHER_MATRIX4, 128, &images[1],
                       &images[2]) == ORV_OK);
  CHECK(planes[1][0] == 255 && planes[1][3] == 0 && planes[2][0] == 0 && planes[2][3] == 255);
  CHECK(orv_page_to_one_bit(&images[1], &images[3]) == ORV_OK);
  CHECK(orv_page_bounds(&images[3], bounds) == ORV_OK && bounds[2] == 1 && bounds[3] == 1);
  return 0;
}

static int Hash(void) {
  static const uint8_t kStart[4] = {0xba, 0x78, 0x16, 0xbf};
  uint8_t digest[32];
  int i;
  CHECK(orv_hash("abc", 3, digest) == ORV_OK);
  for (i = 0; i < 4; ++i) CHECK(digest[i] == kStart[i]);
  return 0;
}

/* The entry point. */
int Run(void) {
  orv_config* config = NULL;
  int line;
  CHECK(orv_api_version() == ORV_C_API_VERSION);
  line = Load(&config);
  if (line == 0) line = Repair(config);
  if (line == 0) line = Split();
  if (line == 0) line = Hash();
  orv_config_close(config);
  return line;
}
