/* Uses the C interface from C99, and, included in another file, from C++: runs the cases of cases.inc,
   passes null to every function, and offers too small buffers: c_api_test SCRATCH_FILE, in the project's
   folder. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orv/c_api.h"

enum { kUnits = 4096, kPageBytes = 6 };

/* What the operations share. */
static orv_config* config;
static uint8_t record[ORV_RECORD_SIZE];
static uint8_t page[kPageBytes] = {0, 0, 255, 0, 0, 0}; /* red, black */
static const uint8_t kGuid[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
static const char* scratchFile;

/* The result of an operation. */
static char output[kUnits];

typedef struct Text {
  uint16_t units[kUnits];
  uint32_t length;
} Text;

static Text Wide(const char* narrow) {
  Text text;
  for (text.length = 0; narrow[text.length] != '\0'; ++text.length) {
    text.units[text.length] = (unsigned char)narrow[text.length];
  }
  return text;
}

static void Narrow(const uint16_t* units, uint32_t length) {
  uint32_t i;
  for (i = 0; i < length; ++i) output[i] = (char)units[i];
  output[length] = '\0';
}

static void AddHex(const uint8_t* bytes, size_t count) {
  size_t i;
  for (i = 0; i < count; ++i) sprintf(output + strlen(output), "%02x", bytes[i]);
}

static orv_image Image(int32_t format, void* pixels) {
  orv_image image;
  memset(&image, 0, sizeof(image));
  image.size = sizeof(image);
  image.format = format;
  image.width = 2;
  image.height = 1;
  image.stride = format == ORV_FORMAT_BIT1 ? 1 : kPageBytes;
  image.pixels = pixels;
  return image;
}

/* The name of a file, by default the scratch file. */
static Text FileName(const char* path) { return Wide(*path != '\0' ? path : scratchFile); }

/* Configurations. */

static int32_t load(const char* path) {
  const Text name = Wide(path);
  uint16_t reason[kUnits];
  uint32_t length = 0;
  orv_config* loaded = NULL;
  const int32_t code =
      orv_config_load(name.units, name.length, NULL, &loaded, reason, kUnits, &length);
  Narrow(reason, length);
  if (code == ORV_OK) {
    orv_config_close(config);
    config = loaded;
  }
  return code;
}

static int32_t load_printer(const char* printer) {
  const Text name = Wide(printer);
  uint16_t reason[kUnits];
  uint32_t length = 0;
  const int32_t code =
      orv_config_load_printer(name.units, name.length, NULL, &config, reason, kUnits, &length);
  Narrow(reason, length);
  return code;
}

static int32_t open_printer(const char* printer) {
  const Text name = Wide(printer);
  void* handle = NULL;
  const int32_t code = orv_printer_open(name.units, name.length, &handle);
  orv_printer_close(handle);
  return code;
}

static int32_t name(const char* index) {
  uint16_t value[kUnits];
  uint32_t length = 0;
  const int32_t code =
      orv_config_name(config, (uint32_t)strtoul(index, NULL, 10), value, kUnits, &length);
  Narrow(value, length);
  return code;
}

static int32_t text(const char* key) {
  const Text wanted = Wide(key);
  uint16_t value[kUnits];
  uint32_t length = 0;
  const int32_t code =
      orv_config_text(config, wanted.units, wanted.length, value, kUnits, &length);
  Narrow(value, length);
  return code;
}

static int32_t integer(const char* key) {
  const Text wanted = Wide(key);
  int32_t value = 0;
  const int32_t code = orv_config_integer(config, wanted.units, wanted.length, &value);
  if (code == ORV_OK) sprintf(output, "%d", (int)value);
  return code;
}

static int32_t integers(const char* key) {
  const Text wanted = Wide(key);
  int32_t values[kUnits];
  uint32_t count = 0;
  uint32_t i;
  const int32_t code =
      orv_config_integers(config, wanted.units, wanted.length, values, kUnits, &count);
  for (i = 0; i < count; ++i) {
    sprintf(output + strlen(output), "%s%d", i > 0 ? " " : "", (int)values[i]);
  }
  return code;
}

/* Records. */

static int32_t defaults(const char* unused) {
  (void)unused;
  return orv_record_default(config, record, sizeof(record));
}

static int32_t set(const char* bytes) {
  char* digits = NULL;
  size_t at = strtoul(bytes, &digits, 10);
  for (++digits; *digits != '\0'; digits += 2) {
    const char pair[3] = {digits[0], digits[1], '\0'};
    record[at++] = (uint8_t)strtoul(pair, NULL, 16);
  }
  return ORV_OK;
}

static int32_t validate(const char* unused) {
  uint16_t corrections[kUnits];
  uint32_t length = 0;
  const int32_t code = orv_record_validate(config, NULL, record, record, sizeof(record),
                                           corrections, kUnits, &length);
  (void)unused;
  Narrow(corrections, length);
  return code;
}

static int32_t convert(const char* unused) {
  (void)unused;
  return orv_record_convert(NULL, record, record, sizeof(record));
}

/* What decides a field: the value of "decidedBy" in its object. */
static int32_t explain(const char* field) {
  uint32_t length = 0;
  uint32_t i;
  char* json = NULL;
  uint16_t* units = NULL;
  char key[kUnits];
  int32_t code = orv_record_explain(config, record, sizeof(record), NULL, 0, &length);
  if (code != ORV_ERROR_BUFFER) return code;
  units = (uint16_t*)malloc(length * sizeof(uint16_t));
  json = (char*)malloc(length + 1);
  code = orv_record_explain(config, record, sizeof(record), units, length, &length);
  for (i = 0; i < length; ++i) json[i] = (char)units[i];
  json[length] = '\0';
  sprintf(key, "\"field\": \"%s\"", field);
  if (strstr(json, key) != NULL) {
    sscanf(strstr(strstr(json, key), "\"decidedBy\": \"") + 14, "%[^\"]", output);
  }
  free(json);
  free(units);
  return code;
}

static int32_t merge(const char* printer) {
  const Text named = Wide(printer);
  static uint8_t application[ORV_PUBLIC_RECORD_SIZE];
  /* No printer has this handle. */
  return orv_record_merge((void*)(intptr_t)-1, named.units, named.length, NULL, record, record,
                          sizeof(record), application, application, sizeof(application));
}

/* Stock items. */

static uint32_t IndexOfValue(const char* wanted) {
  uint32_t i;
  for (i = 0; orv_stock_value_name(i) != NULL; ++i) {
    if (strcmp(orv_stock_value_name(i), wanted) == 0) break;
  }
  return i;
}

static int32_t add_stock(const char* title) {
  const Text shown = Wide(title);
  orv_stock_item item;
  memset(&item, 0, sizeof(item));
  item.size = sizeof(item);
  memcpy(item.guid, kGuid, sizeof(kGuid));
  memcpy(item.name, shown.units, shown.length * sizeof(uint16_t));
  item.name_length = shown.length;
  item.values[IndexOfValue("PaperWidth")] = 50000;
  return orv_stock_add(NULL, 0, NULL, &item);
}

static int32_t list_stock(const char* printer) {
  const Text named = Wide(printer);
  uint32_t count = 0;
  return orv_stock_list(named.units, named.length, NULL, NULL, 0, &count);
}

static int32_t find_stock(const char* title) {
  uint32_t count = 0;
  uint32_t i;
  orv_stock_item* items = NULL;
  int32_t code = orv_stock_list(NULL, 0, NULL, NULL, 0, &count);
  if (code == ORV_ERROR_BUFFER) {
    items = (orv_stock_item*)calloc(count, sizeof(*items));
    items->size = sizeof(*items);
    code = orv_stock_list(NULL, 0, NULL, items, count, &count);
  }
  for (i = 0; i < count; ++i) {
    Narrow(items[i].name, items[i].name_length);
    if (strcmp(output, title) == 0) break;
  }
  output[0] = '\0';
  if (i < count) sprintf(output, "%u", (unsigned)items[i].values[IndexOfValue("PaperWidth")]);
  free(items);
  return code == ORV_OK && i == count ? (int32_t)ORV_ERROR_NOT_FOUND : code;
}

static int32_t remove_stock(const char* unused) {
  (void)unused;
  return orv_stock_remove(NULL, 0, kGuid);
}

/* Pages. */

static int32_t split(const char* colour) {
  uint8_t planes[2][kPageBytes];
  const orv_image image = Image(ORV_FORMAT_BGR24, page);
  const orv_image background = Image(ORV_FORMAT_BGR24, planes[0]);
  const orv_image highlight = Image(ORV_FORMAT_BGR24, planes[1]);
  int32_t code;
  memset(planes, 0xFF, sizeof(planes));
  code = orv_page_split(&image, (uint32_t)strtoul(colour, NULL, 16), 0.01, ORV_DITHER_MATRIX4, 128,
                        &background, &highlight);
  if (code != ORV_OK) return code;
  AddHex(planes[0], kPageBytes);
  strcat(output, " ");
  AddHex(planes[1], kPageBytes);
  return code;
}

static int32_t one_bit(const char* unused) {
  uint8_t bits[1] = {0};
  int32_t bounds[4];
  const orv_image image = Image(ORV_FORMAT_BGR24, page);
  const orv_image reduced = Image(ORV_FORMAT_BIT1, bits);
  int32_t code = orv_page_to_one_bit(&image, &reduced);
  (void)unused;
  if (code == ORV_OK) code = orv_page_bounds(&reduced, bounds);
  AddHex(bits, 1);
  sprintf(output + 2, " %d %d %d %d", (int)bounds[0], (int)bounds[1], (int)bounds[2],
          (int)bounds[3]);
  return code;
}

static int32_t dither(const char* method) {
  uint8_t pixels[kPageBytes];
  const orv_image image = Image(ORV_FORMAT_BGR24, pixels);
  int32_t code = 0;
  memcpy(pixels, page, sizeof(pixels));
  code = orv_page_dither(&image, (int32_t)strtol(method, NULL, 10), 128, 0xFF0000);
  if (code == ORV_OK) AddHex(pixels, kPageBytes);
  return code;
}

/* Protected files. */

static int32_t hash(const char* bytes) {
  uint8_t digest[32];
  const int32_t code = orv_hash(bytes, (uint32_t)strlen(bytes), digest);
  AddHex(digest, sizeof(digest));
  return code;
}

static int32_t hash_file(const char* path) {
  const Text file = FileName(path);
  uint8_t digest[32];
  const int32_t code = orv_hash_file(file.units, file.length, digest);
  if (code == ORV_OK) AddHex(digest, sizeof(digest));
  return code;
}

static int32_t decrypt(const char* bytes) {
  uint32_t length = 0;
  const int32_t code = orv_decrypt(bytes, (uint32_t)strlen(bytes), output, kUnits - 1, &length);
  output[length] = '\0';
  return code;
}

static int32_t cipher(const char* plain) {
  const uint32_t count = (uint32_t)strlen(plain);
  char bytes[kUnits];
  uint32_t size = 0;
  uint32_t length = 0;
  int32_t code = orv_encrypt(plain, count, NULL, 0, &size);
  if (code == ORV_ERROR_BUFFER) code = orv_encrypt(plain, count, bytes, size, &size);
  if (code == ORV_OK) code = orv_decrypt(bytes, size, output, kUnits - 1, &length);
  output[length] = '\0';
  return code;
}

static int32_t write_file(const char* bytes) {
  FILE* const file = fopen(scratchFile, "wb");
  if (file == NULL) return ORV_ERROR_UNWRITABLE;
  fputs(bytes, file);
  fclose(file);
  return ORV_OK;
}

static int32_t encrypt_file(const char* path) {
  const Text file = FileName(path);
  return orv_encrypt_file(file.units, file.length, file.units, file.length);
}

static int32_t decrypt_file(const char* path) {
  const Text file = FileName(path);
  return orv_decrypt_file(file.units, file.length, file.units, file.length);
}

/* The log. */

static int32_t write_log(const char* level) {
  const Text entry = Wide("an entry");
  const Text module = Wide("c_api_test");
  orv_log* log = NULL;
  int32_t code = orv_log_open(module.units, module.length, NULL, 0, &log);
  if (code == ORV_OK) {
    code = orv_log_write(log, (int32_t)strtol(level, NULL, 10), entry.units, entry.length, NULL, 0);
  }
  orv_log_close(log);
  return code;
}

static int32_t error_text(const char* code) {
  strcpy(output, orv_error_text((int32_t)strtol(code, NULL, 10)));
  return ORV_OK;
}

static const struct Case {
  const char* name;
  int32_t (*run)(const char* argument);
  const char* argument;
  int32_t code;
  const char* output; /* ends with "..." if more may follow */
} kCases[] = {
#define CASE(operation, argument, code, output) {#operation, operation, argument, code, output},
#include "cases.inc"
};

static int IsExpected(const char* expected) {
  const size_t length = strlen(expected);
  if (length > 3 && strcmp(expected + length - 3, "...") == 0) {
    return strncmp(output, expected, length - 3) == 0;
  }
  return strcmp(output, expected) == 0;
}

static int failures;

static void Expect(const char* call, int32_t code, int32_t expected) {
  if (code == expected) return;
  printf("%s: %d, not %d\n", call, (int)code, (int)expected);
  ++failures;
}
#define REFUSES(call) Expect(#call, call, ORV_ERROR_ARGUMENT)
#define TOO_SMALL(call) Expect(#call, call, ORV_ERROR_BUFFER)

static void PassNull(void) {
  const orv_image image = Image(ORV_FORMAT_BGR24, page);
  orv_image wrong = image;
  orv_config* loaded = NULL;
  uint16_t units[4] = {'u'}; /* a NUL would be refused for itself */
  uint32_t n = 0;
  uint8_t digest[32];
  int32_t bounds[4];
  void* const printer = (void*)(intptr_t)-1;
  orv_log_close(NULL);
  orv_config_close(NULL);
  orv_printer_close(NULL);
  REFUSES(orv_log_open(NULL, 1, NULL, 0, NULL));
  REFUSES(orv_log_open(NULL, 0, NULL, 0, NULL));
  REFUSES(orv_log_write(NULL, ORV_LOG_ERROR, NULL, 1, NULL, 0));
  REFUSES(orv_printer_open(NULL, 0, NULL));
  REFUSES(orv_config_load(NULL, 0, NULL, &loaded, NULL, 0, NULL));
  REFUSES(orv_config_load(units, 1, NULL, NULL, NULL, 0, NULL));
  REFUSES(orv_config_load(units, 1, NULL, &loaded, NULL, 1, &n));
  REFUSES(orv_config_load_handle(printer, NULL, NULL, NULL, 0, NULL));
  REFUSES(orv_config_load_handle(NULL, NULL, &loaded, NULL, 0, NULL));
  REFUSES(orv_config_load_printer(NULL, 0, NULL, &loaded, NULL, 0, NULL));
  REFUSES(orv_config_count(NULL, &n));
  REFUSES(orv_config_count(config, NULL));
  REFUSES(orv_config_name(NULL, 0, units, 4, &n));
  REFUSES(orv_config_name(config, 0, units, 4, NULL));
  REFUSES(orv_config_text(config, units, 1, NULL, 1, &n));
  REFUSES(orv_config_integer(config, units, 1, NULL));
  REFUSES(orv_config_integers(NULL, units, 1, NULL, 0, &n));
  REFUSES(orv_record_default(NULL, record, sizeof(record)));
  REFUSES(orv_record_default(config, record, sizeof(record) - 1));
  REFUSES(orv_record_validate(config, NULL, NULL, record, sizeof(record), NULL, 0, NULL));
  REFUSES(orv_record_validate(config, NULL, record, record, sizeof(record), NULL, 1, &n));
  REFUSES(orv_record_convert(NULL, record, NULL, sizeof(record)));
  REFUSES(orv_record_from_legacy_layout(NULL, sizeof(record)));
  REFUSES(orv_record_to_legacy_layout(record, 0));
  REFUSES(orv_record_merge(NULL, NULL, 0, NULL, record, record, sizeof(record), page, page, 220));
  REFUSES(orv_record_merge(printer, NULL, 0, NULL, record, record, sizeof(record), NULL, NULL, 220));
  REFUSES(orv_record_explain(NULL, record, sizeof(record), NULL, 0, &n));
  REFUSES(orv_record_explain(config, record, sizeof(record), NULL, 0, NULL));
  REFUSES(orv_record_explain_merge(printer, NULL, 0, NULL, record, sizeof(record), page, 219, NULL,
                                   0, &n));
  REFUSES(orv_stock_list(NULL, 0, NULL, NULL, 0, NULL));
  REFUSES(orv_stock_list(NULL, 0, NULL, NULL, 1, &n));
  REFUSES(orv_stock_add(NULL, 0, NULL, NULL));
  REFUSES(orv_stock_remove(NULL, 0, NULL));
  REFUSES(orv_page_dither(NULL, ORV_DITHER_NONE, 0, 0));
  wrong.stride = kPageBytes - 1;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  wrong = image;
  wrong.pixels = NULL;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  wrong = image;
  wrong.height = 0;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  wrong.height = ORV_MAX_IMAGE_SIDE + 1;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  wrong = image;
  wrong.width = 0;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  wrong = image;
  wrong.unused = 1;
  REFUSES(orv_page_dither(&wrong, ORV_DITHER_NONE, 0, 0));
  REFUSES(orv_page_to_one_bit(&image, &image));
  REFUSES(orv_page_bounds(&image, bounds));
  REFUSES(orv_page_split(&image, 0xFF0000, 0.1, ORV_DITHER_NONE, 0, &image, NULL));
  REFUSES(orv_encrypt(NULL, 1, NULL, 0, &n));
  REFUSES(orv_decrypt(page, 1, NULL, 0, NULL));
  REFUSES(orv_encrypt_file(NULL, 0, units, 1));
  REFUSES(orv_decrypt_file(units, 1, NULL, 0));
  REFUSES(orv_hash(NULL, 1, digest));
  REFUSES(orv_hash_file(NULL, 0, digest));
}

/* A buffer that is too small stays unchanged, and the needed size is returned. */
static void OfferTooLittle(void) {
  const Text key = Wide("printModes.default");
  const Text speeds = Wide("printSpeeds.speeds");
  uint16_t units[15] = {7};
  int32_t number = 7;
  uint8_t byte = 7;
  uint32_t n = 0;
  TOO_SMALL(orv_config_text(config, key.units, key.length, units, 14, &n));
  Expect("the needed units", (int32_t)n, 15);
  Expect("unchanged units", units[0], 7);
  Expect("exactly enough", orv_config_text(config, key.units, key.length, units, 15, &n), ORV_OK);
  units[0] = 7;
  TOO_SMALL(orv_config_name(config, 0, units, 1, &n));
  TOO_SMALL(orv_config_integers(config, speeds.units, speeds.length, &number, 1, &n));
  TOO_SMALL(orv_record_explain(config, record, sizeof(record), units, 1, &n));
  TOO_SMALL(orv_encrypt("x", 1, &byte, 1, &n));
  Expect("the unchanged buffers", units[0] + number + byte, 3 * 7);
}

/* An image whose first row in memory is the bottom one. */
static void ReadUpwards(void) {
  uint8_t pixels[6] = {255, 255, 255, 0, 0, 0}; /* white below black */
  uint8_t bits[2];
  int32_t bounds[4] = {9, 9, 9, 9};
  orv_image image = Image(ORV_FORMAT_BGR24, pixels + 3);
  orv_image reduced = Image(ORV_FORMAT_BIT1, bits);
  image.width = reduced.width = 1;
  image.height = reduced.height = 2;
  image.stride = -3;
  Expect("one bit", orv_page_to_one_bit(&image, &reduced), ORV_OK);
  Expect("bounds", orv_page_bounds(&reduced, bounds), ORV_OK);
  Expect("the last row with ink", bounds[1], 0);
}

int main(int argc, char** argv) {
  size_t i;
  const size_t count = sizeof(kCases) / sizeof(*kCases);
  if (argc != 2) return 2;
  scratchFile = argv[1];
  for (i = 0; i < count; ++i) {
    const struct Case* const at = &kCases[i];
    int32_t code;
    output[0] = '\0';
    code = at->run(at->argument);
    if (code == at->code && IsExpected(at->output)) continue;
    printf("%s(\"%s\"): %d, \"%s\"\n", at->name, at->argument, (int)code, output);
    ++failures;
  }
  PassNull();
  OfferTooLittle();
  ReadUpwards();
  orv_config_close(config);
  remove(scratchFile);
  printf("c_api: %u cases, %d failures\n", (unsigned)count, failures);
  return failures != 0;
}
