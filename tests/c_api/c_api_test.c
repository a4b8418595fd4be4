/* Runs the cases of cases.inc and refuses invalid arguments: c_api_test, in the project's folder. */

#include <stdio.h>
#include <string.h>

#include "orv/c_api.h"

enum { kUnits = 256 };

static orv_config* config;
static char output[kUnits];
static uint16_t units[kUnits];

/* Widens a text; returns its length. */
static uint32_t Widen(const char* text) {
  uint32_t length = 0;
  for (; text[length] != '\0'; ++length) units[length] = (unsigned char)text[length];
  return length;
}

static void Narrow(const uint16_t* text, uint32_t length) {
  for (uint32_t i = 0; i < length; ++i) output[i] = (char)text[i];
  output[length] = '\0';
}

static int32_t load(const char* path) {
  static uint16_t reason[kUnits];
  uint32_t length = 0;
  const int32_t code =
      orv_config_load(units, Widen(path), NULL, &config, reason, kUnits - 1, &length);
  Narrow(reason, length < kUnits ? length : kUnits - 1);
  return code;
}

static int32_t text(const char* name) {
  static uint16_t value[kUnits];
  uint32_t length = 0;
  const int32_t code = orv_config_text(config, units, Widen(name), value, kUnits - 1, &length);
  Narrow(value, code == ORV_OK ? length : 0);
  return code;
}

static int32_t integer(const char* name) {
  int32_t value = 0;
  const int32_t code = orv_config_integer(config, units, Widen(name), &value);
  if (code == ORV_OK) sprintf(output, "%d", (int)value);
  return code;
}

static int32_t hash(const char* bytes) {
  uint8_t digest[32];
  const int32_t code = orv_hash(bytes, (uint32_t)strlen(bytes), digest);
  for (int i = 0; i < 32; ++i) sprintf(output + 2 * i, "%02x", digest[i]);
  return code;
}

static int32_t cipher(const char* plain) {
  unsigned char bytes[kUnits];
  uint32_t size = 0;
  uint32_t length = 0;
  if (orv_encrypt(plain, (uint32_t)strlen(plain), NULL, 0, &size) != ORV_ERROR_BUFFER) return -1;
  if (orv_encrypt(plain, (uint32_t)strlen(plain), bytes, size, &size) != ORV_OK) return -1;
  const int32_t code = orv_decrypt(bytes, size, output, kUnits - 1, &length);
  output[length] = '\0';
  return code;
}

static const struct {
  const char* name;
  int32_t (*run)(const char* argument);
  const char* argument;
  int32_t code;
  const char* output; /* null: any */
} kCases[] = {
#define CASE(operation, argument, code, output) {#operation, operation, argument, code, output},
#include "cases.inc"
};

/* A red and a blue pixel are split; returns the number of wrong results. */
static int CheckPage(void) {
  uint8_t page[8] = {0, 0, 255, 255, 0, 0, 0, 0};
  uint8_t planes[2][8];
  uint8_t bits[1] = {0};
  int32_t bounds[4];
  const orv_image image = {sizeof(image), ORV_FORMAT_BGR24, 2, 1, 8, 0, page};
  const orv_image background = {sizeof(image), ORV_FORMAT_BGR24, 2, 1, 8, 0, planes[0]};
  const orv_image highlight = {sizeof(image), ORV_FORMAT_BGR24, 2, 1, 8, 0, planes[1]};
  const orv_image oneBit = {sizeof(image), ORV_FORMAT_BIT1, 2, 1, 1, 0, bits};
  orv_image overlapping = image;
  int wrong = 0;
  overlapping.stride = 5;
  wrong += orv_page_split(&image, 0xFF0000, 0.01, ORV_DITHER_MATRIX4, 128, &background,
                          &highlight) != ORV_OK;
  wrong += memcmp(planes[0], "\xFF\xFF\xFF\0\0\0", 6) != 0;
  wrong += memcmp(planes[1], "\0\0\xFF\xFF\xFF\xFF", 6) != 0;
  wrong += orv_page_to_one_bit(&background, &oneBit) != ORV_OK;
  wrong += orv_page_bounds(&oneBit, bounds) != ORV_OK || bounds[2] != 1 || bounds[3] != 1;
  wrong += orv_page_dither(&overlapping, ORV_DITHER_NONE, 0, 0) != ORV_ERROR_ARGUMENT;
  wrong += orv_page_dither(&image, 6, 0, 0) != ORV_ERROR_ARGUMENT;
  wrong += orv_page_split(&image, 0xFFFFFF, 0.01, 1, 128, &background, &highlight) !=
           ORV_ERROR_ARGUMENT;
  return wrong;
}

/* A record is filled, damaged and corrected; returns the number of wrong results. */
static int CheckRecord(void) {
  static uint8_t record[ORV_RECORD_SIZE];
  static uint16_t corrections[kUnits];
  uint32_t length = 0;
  int wrong = 0;
  wrong += orv_record_default(config, record, sizeof(record)) != ORV_OK;
  memset(record + 1656, 0xFF, 4); /* Invert */
  wrong += orv_record_validate(config, NULL, record, record, sizeof(record), corrections,
                               kUnits - 1, &length) != ORV_OK;
  Narrow(corrections, length < kUnits ? length : kUnits - 1);
  wrong += strstr(output, "Invert:") == NULL || record[1656] > 1;
  wrong += orv_record_convert(NULL, record, record, sizeof(record)) != ORV_OK;
  record[8] = 15; /* the version */
  wrong += orv_record_convert(NULL, record, record, sizeof(record)) != ORV_ERROR_RECORD;
  wrong += orv_record_convert(NULL, record, record, 1) != ORV_ERROR_ARGUMENT;
  return wrong;
}

int main(void) {
  int failures = 0;
  for (size_t i = 0; i < sizeof(kCases) / sizeof(*kCases); ++i) {
    output[0] = '\0';
    const int32_t code = kCases[i].run(kCases[i].argument);
    if (code == kCases[i].code &&
        (kCases[i].output == NULL || strcmp(output, kCases[i].output) == 0)) {
      continue;
    }
    printf("%s(%s): %d, '%s'\n", kCases[i].name, kCases[i].argument, (int)code, output);
    ++failures;
  }
  const int page = CheckPage();
  const int record = CheckRecord();
  printf("c_api: %d cases, %d page and %d record results are wrong\n", failures, page, record);
  orv_config_close(config);
  return failures + page + record != 0;
}
