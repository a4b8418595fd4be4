#pragma once

/// The library's interface for any compiler and language: plain C, without C++ types, exceptions or
/// a shared run-time library. It needs no other header of the library.
///
///     static const uint16_t path[] = {'l', 'x', '3', '0', '0', '.', 'x', 'm', 'l'};
///     static const uint16_t name[] = {'l', 'a', 'b', 'e', 'l', '.', 'w', 'i', 'd', 't', 'h', 'M',
///                                     'a', 'x'};
///     orv_config* loaded = NULL;
///     int32_t width = 0;
///     if (orv_config_load(path, 9, NULL, &loaded, NULL, 0, NULL) == ORV_OK) {
///       orv_config_integer(loaded, name, 14, &width);  // thousandths of a millimetre
///     }
///     orv_config_close(loaded);
///
/// - Texts are UTF-16 units with their number; they need no terminator. A null pointer with the
///   number 0 is an empty text.
/// - Results of variable length go to a buffer of the caller: `buffer`, `capacity` and `*length`.
///   `*length` is set to the needed size, in units or bytes. If that exceeds `capacity`, nothing is
///   written, and the result is `ORV_ERROR_BUFFER`: call with a null buffer and the capacity 0 for
///   the size. `length` must not be null unless a comment allows it.
/// - Every function that can fail returns `ORV_OK` or an error code, and never throws. After an
/// error
///   outputs are unchanged unless a comment says otherwise.
/// - Handles are opaque. The caller closes each one once; closing null does nothing. Any thread may
///   call any function; one handle may be read by several threads at once.
/// - Versions: functions are only added, never changed, so a caller links or looks up those it uses
///   by name; a table of functions would make every language declare all of them. A structure that
///   can grow begins with `size`, which the caller sets to its `sizeof`: a newer library accepts
///   the older size.

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
/// The calling convention.
#define ORV_C_CALL __cdecl
#if defined(ORV_BUILDING)
/// Marks a function of the library.
#define ORV_C_API __declspec(dllexport)
#elif defined(ORV_STATIC)
#define ORV_C_API
#else
#define ORV_C_API __declspec(dllimport)
#endif
#else
/// The calling convention.
#define ORV_C_CALL

/// Marks a function of the library.
#define ORV_C_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// The error codes.
enum {
  ORV_OK = 0,
  ORV_ERROR_ARGUMENT = 1,    ///< a null pointer, or a value outside its range
  ORV_ERROR_BUFFER = 2,      ///< the buffer is too small
  ORV_ERROR_MEMORY = 3,      ///< memory ran out
  ORV_ERROR_NOT_FOUND = 4,   ///< no value, item or printer of this name
  ORV_ERROR_KIND = 5,        ///< the value is a text or a list
  ORV_ERROR_UNREADABLE = 6,  ///< a file is missing, unreadable, empty or cannot be decrypted
  ORV_ERROR_UNWRITABLE = 7,  ///< a file or the settings store cannot be written
  ORV_ERROR_MALFORMED = 8,   ///< a file is not well-formed XML
  ORV_ERROR_INVALID = 9,     ///< a configuration is incomplete or wrong, or protected data is
  ORV_ERROR_RECORD = 10,     ///< a record has another signature or version
  ORV_ERROR_INTERNAL = 11,   ///< an unexpected failure
};

/// The version of this interface; it increases when functions are added.
#define ORV_C_API_VERSION 1

/// The size of a private settings record in bytes. Callers treat it as bytes; `orv devmode fields`
/// prints the offset of each field.
#define ORV_RECORD_SIZE 2688

/// A logging module, and a loaded configuration.
typedef struct orv_log orv_log;
typedef struct orv_config orv_config;

/// Returns the version of the interface that the library has: `ORV_C_API_VERSION` of its header.
ORV_C_API uint32_t ORV_C_CALL orv_api_version(void);

/// Returns the library's version, such as "0.1.0"; a constant that is never freed.
ORV_C_API const char* ORV_C_CALL orv_version(void);

/// Returns an English text for an error code; a constant that is never freed.
ORV_C_API const char* ORV_C_CALL orv_error_text(int32_t code);

/// The levels of log lines.
enum {
  ORV_LOG_ERROR = 1,
  ORV_LOG_WARNING = 2,
  ORV_LOG_INFO = 4,
  ORV_LOG_TRACE = 8,
};

/// Starts logging under a module's name. `folder` is where the configuration files of printers are;
/// it may be empty. Opening and closing logs must not run at the same time in several threads.
ORV_C_API int32_t ORV_C_CALL orv_log_open(const uint16_t* module, uint32_t module_length,
                                          const uint16_t* folder, uint32_t folder_length,
                                          orv_log** log);

/// Writes a line if the settings enable its level, or its source, which may be empty. `log` may be
/// null: the line then has no module.
ORV_C_API int32_t ORV_C_CALL orv_log_write(orv_log* log, int32_t level, const uint16_t* message,
                                           uint32_t message_length, const uint16_t* source,
                                           uint32_t source_length);

/// Stops logging.
ORV_C_API void ORV_C_CALL orv_log_close(orv_log* log);

/// Loads a configuration file, plain or protected. `log` may be null. If the file does not load and
/// `reason_length` is not null, the reason is written to `reason`, cut to `capacity` units, and
/// `*reason_length` is its whole length.
ORV_C_API int32_t ORV_C_CALL orv_config_load(const uint16_t* path, uint32_t path_length,
                                             orv_log* log, orv_config** config, uint16_t* reason,
                                             uint32_t capacity, uint32_t* reason_length);

/// Loads the configuration of a printer, which the spooler's handle `printer` belongs to: the file
/// named after its driver in the folder of `log`. Otherwise like `orv_config_load`.
ORV_C_API int32_t ORV_C_CALL orv_config_load_handle(void* printer, orv_log* log,
                                                    orv_config** config, uint16_t* reason,
                                                    uint32_t capacity, uint32_t* reason_length);

/// The same for a printer's name; `ORV_ERROR_NOT_FOUND` if the spooler cannot open it.
ORV_C_API int32_t ORV_C_CALL orv_config_load_printer(const uint16_t* name, uint32_t name_length,
                                                     orv_log* log, orv_config** config,
                                                     uint16_t* reason, uint32_t capacity,
                                                     uint32_t* reason_length);

/// Closes a configuration.
ORV_C_API void ORV_C_CALL orv_config_close(orv_config* config);

/// The number of values.
ORV_C_API int32_t ORV_C_CALL orv_config_count(const orv_config* config, uint32_t* count);

/// The name of the value at an index, in the order of the file. Names are those that `orv config
/// show` prints, such as "label.widthMax" and "printModes.modes[0].mode".
ORV_C_API int32_t ORV_C_CALL orv_config_name(const orv_config* config, uint32_t index,
                                             uint16_t* buffer, uint32_t capacity, uint32_t* length);

/// A value as text: numbers in digits without a unit, flags as "yes" or "no", lists with ", "
/// between their numbers. Names are case-sensitive.
ORV_C_API int32_t ORV_C_CALL orv_config_text(const orv_config* config, const uint16_t* name,
                                             uint32_t name_length, uint16_t* buffer,
                                             uint32_t capacity, uint32_t* length);

/// A number, or a flag as 0 or 1. `ORV_ERROR_KIND` for other values.
ORV_C_API int32_t ORV_C_CALL orv_config_integer(const orv_config* config, const uint16_t* name,
                                                uint32_t name_length, int32_t* value);

/// The numbers of a list, such as "printSpeeds.speeds"; capacity and length are numbers.
/// `ORV_ERROR_KIND` for a text.
ORV_C_API int32_t ORV_C_CALL orv_config_integers(const orv_config* config, const uint16_t* name,
                                                 uint32_t name_length, int32_t* buffer,
                                                 uint32_t capacity, uint32_t* length);

/// Fills a record with the defaults of a printer. Bytes that belong to no setting stay unchanged.
/// Here and below `size` must be `ORV_RECORD_SIZE`; records need no alignment.
ORV_C_API int32_t ORV_C_CALL orv_record_default(const orv_config* config, void* record,
                                                uint32_t size);

/// Copies the record `in` to `out`, which may be the same, with its header and every value that the
/// printer does not offer corrected. `corrections` receives "Name:old->new " for each one, cut to
/// `capacity` units, and `*corrections_length` is the whole length; it may be null. The same text
/// goes to the log, which may be null.
ORV_C_API int32_t ORV_C_CALL orv_record_validate(const orv_config* config, orv_log* log,
                                                 const void* in, void* out, uint32_t size,
                                                 uint16_t* corrections, uint32_t capacity,
                                                 uint32_t* corrections_length);

/// Copies a record of the current version. A record with another signature or version is refused
/// with `ORV_ERROR_RECORD`. `log` may be null.
ORV_C_API int32_t ORV_C_CALL orv_record_convert(orv_log* log, const void* in, void* out,
                                                uint32_t size);

/// Sets the settings from the older layout in the same record; others stay unchanged.
ORV_C_API int32_t ORV_C_CALL orv_record_from_older_layout(void* record, uint32_t size);

/// Sets the older layout from the settings of the same record.
ORV_C_API int32_t ORV_C_CALL orv_record_to_older_layout(void* record, uint32_t size);

/// Merges as `hrOEMDevMode` does: converts the record `in` to `out`, applies the stock item or
/// paper size that the public record `public_in` (a `DEVMODEW` of 220 bytes) asks for to `out` and
/// `public_out`, and corrects `out`. `printer` is the spooler's handle; the configuration is loaded
/// for this call. Both outputs are unspecified after an error.
ORV_C_API int32_t ORV_C_CALL orv_record_merge(void* printer, const uint16_t* printer_name,
                                              uint32_t name_length, orv_log* log, const void* in,
                                              void* out, uint32_t size, const void* public_in,
                                              void* public_out, uint32_t public_size);

/// A stock item. Lengths are thousandths of a millimetre, flags 0 or 1.
typedef struct orv_stock_item {
  uint32_t size;         ///< `sizeof(orv_stock_item)`
  uint8_t guid[16];      ///< as in memory on Windows: the first three groups are little-endian
  uint32_t name_length;  ///< units
  uint16_t name[130];    ///< at most 129 units
  uint32_t values[27];   ///< in the order of `orv_stock_value_name`
} orv_stock_item;

/// The name of a numeric value of stock items by its index, such as "PaperWidth"; null beyond the
/// last one. A constant that is never freed.
ORV_C_API const char* ORV_C_CALL orv_stock_value_name(uint32_t index);

/// Lists stock items: those of a printer in the order of their paper sizes, from 257, or without a
/// printer's name those common to all printers. `items` receives at most `capacity` of them, each
/// of `items[0].size` bytes, and `*count` is their number.
ORV_C_API int32_t ORV_C_CALL orv_stock_list(const uint16_t* printer, uint32_t printer_length,
                                            orv_log* log, orv_stock_item* items, uint32_t capacity,
                                            uint32_t* count);

/// Stores an item of a printer, or one common to all printers, in the place of the one with its
/// GUID. `ORV_ERROR_ARGUMENT` for an item without a GUID or name, or with a value above its limit.
ORV_C_API int32_t ORV_C_CALL orv_stock_add(const uint16_t* printer, uint32_t printer_length,
                                           orv_log* log, const orv_stock_item* item);

/// Removes the item of a GUID; `ORV_ERROR_NOT_FOUND` if there is none.
ORV_C_API int32_t ORV_C_CALL orv_stock_remove(const uint16_t* printer, uint32_t printer_length,
                                              const uint8_t guid[16]);

/// The formats of pixels.
enum {
  ORV_FORMAT_BGR24 = 1,  ///< three bytes per pixel: blue, green, red
  ORV_FORMAT_BIT1 = 2,   ///< one bit per pixel, the leftmost in the high bit: 1 white, 0 ink
};

/// The largest width and height of an image.
#define ORV_MAX_IMAGE_SIDE 1000000

/// Pixels in the caller's memory.
typedef struct orv_image {
  uint32_t size;    ///< `sizeof(orv_image)`
  int32_t format;   ///< `ORV_FORMAT_...`
  int32_t width;    ///< pixels, 1 to `ORV_MAX_IMAGE_SIDE`
  int32_t height;   ///< as `width`
  int32_t stride;   ///< bytes from one row to the next below; negative if rows go upwards
  uint32_t unused;  ///< 0
  void* pixels;     ///< the first byte of the top row
} orv_image;

/// The dithering methods.
enum {
  ORV_DITHER_NONE = 0,
  ORV_DITHER_FLOYD_STEINBERG = 1,
  ORV_DITHER_SIERRA_LITE = 2,
  ORV_DITHER_MATRIX4 = 3,
  ORV_DITHER_MATRIX8 = 4,
  ORV_DITHER_MATRIX16 = 5,
};

/// Dithers a 24-bit image in place to white and `colour` (0xRRGGBB). The matrix methods have their
/// own thresholds. If memory runs out, the pixels are unspecified.
ORV_C_API int32_t ORV_C_CALL orv_page_dither(const orv_image* image, int32_t method,
                                             int32_t threshold, uint32_t colour);

/// Reduces a 24-bit image to a one-bit image of the same size: everything that is not pure white is
/// ink. The two must not overlap.
ORV_C_API int32_t ORV_C_CALL orv_page_to_one_bit(const orv_image* source, const orv_image* target);

/// Finds the outermost rows and columns with ink in a one-bit image: first row, last row, first
/// column, last column; all -1 without ink.
ORV_C_API int32_t ORV_C_CALL orv_page_bounds(const orv_image* image, int32_t bounds[4]);

/// Splits a 24-bit page for two print heads: pixels within `tolerance` of `colour` (0xRRGGBB, not
/// white) go to `highlight`, the others to `background`; both are 24-bit images of the same size
/// and are dithered. The three must not overlap. If memory runs out, the planes are unspecified.
ORV_C_API int32_t ORV_C_CALL orv_page_split(const orv_image* page, uint32_t colour,
                                            double tolerance, int32_t method, int32_t threshold,
                                            const orv_image* background,
                                            const orv_image* highlight);

/// Encrypts bytes to the form of protected files, which has at most 36 bytes more. Each call gives
/// other bytes of the same length.
ORV_C_API int32_t ORV_C_CALL orv_encrypt(const void* plain, uint32_t plain_length, void* buffer,
                                         uint32_t capacity, uint32_t* length);

/// Decrypts the bytes of a protected file; the result is shorter than they are.
ORV_C_API int32_t ORV_C_CALL orv_decrypt(const void* bytes, uint32_t bytes_length, void* buffer,
                                         uint32_t capacity, uint32_t* length);

/// Encrypts or decrypts a file. The target, which may be the source, is replaced when it is
/// complete; a failure leaves it unchanged.
ORV_C_API int32_t ORV_C_CALL orv_encrypt_file(const uint16_t* source, uint32_t source_length,
                                              const uint16_t* target, uint32_t target_length);
ORV_C_API int32_t ORV_C_CALL orv_decrypt_file(const uint16_t* source, uint32_t source_length,
                                              const uint16_t* target, uint32_t target_length);

/// The SHA-256 digest of bytes.
ORV_C_API int32_t ORV_C_CALL orv_hash(const void* bytes, uint32_t length, uint8_t digest[32]);

/// The SHA-256 digest of a file.
ORV_C_API int32_t ORV_C_CALL orv_hash_file(const uint16_t* path, uint32_t path_length,
                                           uint8_t digest[32]);

#ifdef __cplusplus
}
#endif
