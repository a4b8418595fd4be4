#pragma once

/// The library's interface for any compiler and language: plain C, without C++ types, exceptions or
/// a shared run-time library. It needs no other header of the library. This prints the largest
/// width of a label:
///
///     static const uint16_t path[] = {'l', 'x', '3', '0', '0', '.', 'x', 'm', 'l'};
///     static const uint16_t name[] = {'l', 'a', 'b', 'e', 'l', '.', 'w', 'i', 'd', 't', 'h', 'M',
///                                     'a', 'x'};
///     orv_config* config = NULL;
///     int32_t width = 0;
///     int32_t code = orv_config_load(path, 9, NULL, &config, NULL, 0, NULL);
///     if (code == ORV_OK) code = orv_config_integer(config, name, 14, &width);
///     if (code == ORV_OK) printf("%d thousandths of a millimetre\n", (int)width);
///     if (code != ORV_OK) printf("%s\n", orv_error_text(code));
///     orv_config_close(config);
///
/// - Errors: every function that can fail returns `ORV_OK` or an error code, and never throws. A
///   null pointer, or a number outside its range, is `ORV_ERROR_ARGUMENT`, and every function that
///   needs memory can return `ORV_ERROR_MEMORY`; comments name the other codes. After an error the
///   outputs are unchanged unless a comment says otherwise. If a protected file or its bytes cannot
///   be encrypted or decrypted, the library may also print a line about that to standard output.
/// - Texts are UTF-16 code units with a separate count; they need no terminator. A text that
///   contains NUL is `ORV_ERROR_ARGUMENT`. Where a text may be empty, a null pointer with the count
///   0 is an empty text.
/// - Results of variable length go to a buffer of the caller: `buffer`, `capacity` and `*length`,
///   in units for texts, in bytes for other data. `*length` is set to the needed size. If that
///   exceeds `capacity`, nothing is written to the buffer, and the result is `ORV_ERROR_BUFFER`:
///   call with a null buffer and the capacity 0 to get the size. `length` must not be null unless a
///   comment allows it.
/// - Ownership: a handle belongs to the caller, who closes it once; closing null does nothing. The
///   library keeps no pointer to the caller's memory after a call. Texts of type `const char*` are
///   constants of the library.
/// - Threads: any thread may call any function unless a comment says otherwise, and several threads
///   may use one handle at once. While a call writes to memory of the caller, no other thread may
///   use that memory. Merges and lists of stock items take turns, because they share the session of
///   the process; so they must not run while the C++ interface uses the session.
/// - Versions: functions are only added, never changed, so a caller links, or looks up by name, the
///   functions it uses. A structure that can grow begins with `size`, which the caller sets to its
///   `sizeof`; a newer library accepts the older size.

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
  ORV_OK = 0,                ///< no error
  ORV_ERROR_ARGUMENT = 1,    ///< a null pointer, or a value outside its range
  ORV_ERROR_BUFFER = 2,      ///< the buffer is too small
  ORV_ERROR_MEMORY = 3,      ///< memory ran out
  ORV_ERROR_NOT_FOUND = 4,   ///< no value, item or printer of this name
  ORV_ERROR_KIND = 5,        ///< the value is a text or a list
  ORV_ERROR_UNREADABLE = 6,  ///< a file that is missing, empty or cannot be read or decrypted; the
                             ///< spooler or the settings store cannot be read
  ORV_ERROR_UNWRITABLE = 7,  ///< a file or the settings store cannot be written
  ORV_ERROR_MALFORMED = 8,   ///< a file is not well-formed XML
  ORV_ERROR_INVALID = 9,     ///< a configuration or protected data is incomplete or wrong
  ORV_ERROR_RECORD = 10,     ///< a record has another signature or version
  ORV_ERROR_INTERNAL = 11,   ///< an unexpected failure
};

/// The version of this interface; it increases when functions are added.
#define ORV_C_API_VERSION 1

/// The size of a private settings record in bytes. Callers treat a record as bytes, without
/// alignment; `orv devmode fields` prints the offset and the unit of each field.
#define ORV_RECORD_SIZE 2688

/// The size of a public settings record (`DEVMODEW`) in bytes, without the private record after it.
#define ORV_PUBLIC_RECORD_SIZE 220

/// A module that writes to the log.
typedef struct orv_log orv_log;

/// A loaded configuration. It does not change.
typedef struct orv_config orv_config;

/// Returns the version of the interface that the library has: `ORV_C_API_VERSION` of its header.
ORV_C_API uint32_t ORV_C_CALL orv_api_version(void);

/// Returns the library's version, such as "0.1.0".
ORV_C_API const char* ORV_C_CALL orv_version(void);

/// Returns an English text for an error code; never null.
ORV_C_API const char* ORV_C_CALL orv_error_text(int32_t code);

/// The levels of log entries.
enum {
  ORV_LOG_ERROR = 1,    ///< something failed
  ORV_LOG_WARNING = 2,  ///< something was corrected or ignored
  ORV_LOG_INFO = 4,     ///< normal events
  ORV_LOG_TRACE = 8,    ///< each step
};

/// Starts logging under the name `module`. The configuration files of printers are in `folder`.
/// Both may be empty. Close `*log` with `orv_log_close`. Opening and closing logs must not run
/// concurrently. While none is open, opening one reads the log settings, and no other function of
/// the library may run meanwhile.
ORV_C_API int32_t ORV_C_CALL orv_log_open(const uint16_t* module, uint32_t module_length,
                                          const uint16_t* folder, uint32_t folder_length,
                                          orv_log** log);

/// Writes an entry if the log settings enable its level (`ORV_LOG_...`) or its source. The message
/// and the source may be empty. `log` may be null: the entry then has no module. An entry that
/// cannot be written to the disk is dropped without an error.
ORV_C_API int32_t ORV_C_CALL orv_log_write(orv_log* log, int32_t level, const uint16_t* message,
                                           uint32_t message_length, const uint16_t* source,
                                           uint32_t source_length);

/// Stops logging. No call may use `log` during or after this one.
ORV_C_API void ORV_C_CALL orv_log_close(orv_log* log);

/// Opens a printer of the spooler by its name; `ORV_ERROR_NOT_FOUND` if no printer has this name,
/// `ORV_ERROR_UNREADABLE` if the spooler cannot be read. Close the handle with
/// `orv_printer_close`. On Windows the handle comes from `OpenPrinterW`, and any other handle from
/// that function can be used instead.
ORV_C_API int32_t ORV_C_CALL orv_printer_open(const uint16_t* name, uint32_t name_length,
                                              void** printer);

/// Closes a printer.
ORV_C_API void ORV_C_CALL orv_printer_close(void* printer);

/// Loads a configuration file, plain or protected, and writes the steps to the log; `log` may be
/// null. Close `*config` with `orv_config_close`. If the file does not load, the result is
/// `ORV_ERROR_UNREADABLE`, `ORV_ERROR_MALFORMED` or `ORV_ERROR_INVALID`. If `reason_length` is not
/// null, the reason is then written to `reason`, cut to `capacity` units, and `*reason_length` is
/// its whole length.
ORV_C_API int32_t ORV_C_CALL orv_config_load(const uint16_t* path, uint32_t path_length,
                                             orv_log* log, orv_config** config, uint16_t* reason,
                                             uint32_t capacity, uint32_t* reason_length);

/// Loads the configuration of an open printer: the file named after its driver in the folder of
/// `log`. A handle that cannot be one of a printer is `ORV_ERROR_NOT_FOUND`. Otherwise like
/// `orv_config_load`.
ORV_C_API int32_t ORV_C_CALL orv_config_load_handle(void* printer, orv_log* log,
                                                    orv_config** config, uint16_t* reason,
                                                    uint32_t capacity, uint32_t* reason_length);

/// Loads the configuration of a printer by its name, like `orv_config_load_handle`;
/// also `ORV_ERROR_NOT_FOUND` and `ORV_ERROR_UNREADABLE`, as for `orv_printer_open`.
ORV_C_API int32_t ORV_C_CALL orv_config_load_printer(const uint16_t* name, uint32_t name_length,
                                                     orv_log* log, orv_config** config,
                                                     uint16_t* reason, uint32_t capacity,
                                                     uint32_t* reason_length);

/// Closes a configuration.
ORV_C_API void ORV_C_CALL orv_config_close(orv_config* config);

/// Gets the number of values of a configuration.
ORV_C_API int32_t ORV_C_CALL orv_config_count(const orv_config* config, uint32_t* count);

/// Gets the name of the value at an index, in the order of the file. Names are those that
/// `orv config show` prints, such as "label.widthMax" and "printModes.modes[0].mode".
/// `ORV_ERROR_NOT_FOUND` for an index that is not below the count.
ORV_C_API int32_t ORV_C_CALL orv_config_name(const orv_config* config, uint32_t index,
                                             uint16_t* buffer, uint32_t capacity, uint32_t* length);

/// Gets a value as text: numbers in digits without a unit, flags as "yes" or "no", the numbers of a
/// list with ", " between them. Lengths are in thousandths of a millimetre, speeds in thousandths
/// of a millimetre per second. Here and below names are case-sensitive, and `ORV_ERROR_NOT_FOUND`
/// is the result for an unknown one.
ORV_C_API int32_t ORV_C_CALL orv_config_text(const orv_config* config, const uint16_t* name,
                                             uint32_t name_length, uint16_t* buffer,
                                             uint32_t capacity, uint32_t* length);

/// Gets a number, or a flag as 0 or 1. `ORV_ERROR_KIND` for a text or a list.
ORV_C_API int32_t ORV_C_CALL orv_config_integer(const orv_config* config, const uint16_t* name,
                                                uint32_t name_length, int32_t* value);

/// Gets the numbers of a list, such as "printSpeeds.speeds", or a single one. `capacity` and
/// `*length` count numbers. `ORV_ERROR_KIND` for a text.
ORV_C_API int32_t ORV_C_CALL orv_config_integers(const orv_config* config, const uint16_t* name,
                                                 uint32_t name_length, int32_t* buffer,
                                                 uint32_t capacity, uint32_t* length);

/// Fills a record with the defaults of a printer. Bytes that belong to no setting stay unchanged,
/// so set them to 0 before. Here and below `size` must be `ORV_RECORD_SIZE`.
ORV_C_API int32_t ORV_C_CALL orv_record_default(const orv_config* config, void* record,
                                                uint32_t size);

/// Copies the record `in` to `out`, which may be the same, writes the header, and corrects every
/// value that the printer does not offer. `corrections` receives "Name:old->new " for each one, cut
/// to `capacity` units, and `*corrections_length` is the whole length; it may be null. The same
/// text goes to the log; `log` may be null.
ORV_C_API int32_t ORV_C_CALL orv_record_validate(const orv_config* config, orv_log* log,
                                                 const void* in, void* out, uint32_t size,
                                                 uint16_t* corrections, uint32_t capacity,
                                                 uint32_t* corrections_length);

/// Copies the record `in` to `out`, which may be the same. `ORV_ERROR_RECORD` for a record of
/// another signature or version. Writes the steps to the log; `log` may be null.
ORV_C_API int32_t ORV_C_CALL orv_record_convert(orv_log* log, const void* in, void* out,
                                                uint32_t size);

/// Sets the settings of a record from the legacy layout in the same record; others stay unchanged.
ORV_C_API int32_t ORV_C_CALL orv_record_from_legacy_layout(void* record, uint32_t size);

/// Sets the legacy layout of a record from the settings of the same record.
ORV_C_API int32_t ORV_C_CALL orv_record_to_legacy_layout(void* record, uint32_t size);

/// Merges as `hrOEMDevMode` does: copies the record `in` to `out`, applies the stock item or the
/// paper size that the application's public record `public_in` asks for to `out` and `public_out`,
/// and corrects `out`. Incoming and outgoing records may be the same. Fields of `public_out` that a
/// merge does not set stay unchanged. `public_size` must be `ORV_PUBLIC_RECORD_SIZE`. The
/// configuration is loaded for this call, as by `orv_config_load_handle` and with its error codes.
/// `printer_name` is the name under which the printer has stock items; `log` may be null, but
/// without it the folder of the configuration is unknown. Stock items that cannot be read are like
/// none; only the log says so. `ORV_ERROR_RECORD` as for `orv_record_convert`.
ORV_C_API int32_t ORV_C_CALL orv_record_merge(void* printer, const uint16_t* printer_name,
                                              uint32_t name_length, orv_log* log, const void* in,
                                              void* out, uint32_t size, const void* public_in,
                                              void* public_out, uint32_t public_size);

/// Explains what `orv_record_validate` would do, as a JSON text: an array with an object for each
/// field. Its members are "field", "incoming", "default", "stock" (null here), "allowed", "result"
/// and "decidedBy", as `orv devmode explain --json` prints them. Writes nothing to the log.
ORV_C_API int32_t ORV_C_CALL orv_record_explain(const orv_config* config, const void* record,
                                                uint32_t size, uint16_t* buffer, uint32_t capacity,
                                                uint32_t* length);

/// Explains what `orv_record_merge` would do, in the same form. Each call merges, and writes the
/// steps to the log.
ORV_C_API int32_t ORV_C_CALL orv_record_explain_merge(void* printer, const uint16_t* printer_name,
                                                      uint32_t name_length, orv_log* log,
                                                      const void* in, uint32_t size,
                                                      const void* public_in, uint32_t public_size,
                                                      uint16_t* buffer, uint32_t capacity,
                                                      uint32_t* length);

/// A stock item: the settings of one label stock. Lengths are thousandths of a millimetre, flags 0
/// or 1.
typedef struct orv_stock_item {
  uint32_t size;         ///< `sizeof(orv_stock_item)`
  uint8_t guid[16];      ///< as in memory on Windows: the first three groups are little-endian
  uint32_t name_length;  ///< units, at most 129; 0 only in a listed item without a name
  uint16_t name[130];    ///< shown to users as the name of a paper size
  uint32_t values[27];   ///< in the order of `orv_stock_value_name`
} orv_stock_item;

/// Returns the name of a numeric value of stock items by its index, such as "PaperWidth"; null
/// after the last one.
ORV_C_API const char* ORV_C_CALL orv_stock_value_name(uint32_t index);

/// Lists the stock items of a printer in the order of their paper sizes, from 257; without a
/// printer's name, lists the items common to all printers. `items` is a buffer; `capacity` and
/// `*count` are in items, each of `items[0].size` bytes. The caller sets that size. `log` may be
/// null. Here and below `ORV_ERROR_NOT_FOUND` is the result for an unknown printer, and
/// `ORV_ERROR_UNREADABLE` if the spooler or the settings store cannot be read.
ORV_C_API int32_t ORV_C_CALL orv_stock_list(const uint16_t* printer, uint32_t printer_length,
                                            orv_log* log, orv_stock_item* items, uint32_t capacity,
                                            uint32_t* count);

/// Stores an item of a printer, or without a name an item common to all printers. It replaces the
/// item with the same GUID. `ORV_ERROR_ARGUMENT` for an item without a GUID or a name, or with a
/// value above its limit; `ORV_ERROR_UNWRITABLE` if the settings store cannot be written.
ORV_C_API int32_t ORV_C_CALL orv_stock_add(const uint16_t* printer, uint32_t printer_length,
                                           orv_log* log, const orv_stock_item* item);

/// Removes the item of a GUID from those of a printer, or from the common ones;
/// `ORV_ERROR_NOT_FOUND` if the item is unknown, `ORV_ERROR_UNWRITABLE` as for `orv_stock_add`.
ORV_C_API int32_t ORV_C_CALL orv_stock_remove(const uint16_t* printer, uint32_t printer_length,
                                              const uint8_t guid[16]);

/// The formats of pixels.
enum {
  ORV_FORMAT_BGR24 = 1,  ///< three bytes per pixel: blue, green, red
  ORV_FORMAT_BIT1 = 2,   ///< one bit per pixel, the leftmost in the high bit: 1 white, 0 ink
};

/// The largest width and height of an image in pixels.
#define ORV_MAX_IMAGE_SIDE 1000000

/// An image in the caller's memory.
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
  ORV_DITHER_NONE = 0,             ///< leaves the image as it is
  ORV_DITHER_FLOYD_STEINBERG = 1,  ///< error diffusion to four neighbours
  ORV_DITHER_SIERRA_LITE = 2,      ///< error diffusion to three neighbours
  ORV_DITHER_MATRIX4 = 3,          ///< ordered, 4 x 4 thresholds
  ORV_DITHER_MATRIX8 = 4,          ///< ordered, 8 x 8 thresholds
  ORV_DITHER_MATRIX16 = 5,         ///< ordered, 16 x 16 thresholds
};

/// Dithers a 24-bit image in place to white and `colour` (0xRRGGBB). A pixel becomes white if its
/// grey value, 0 to 255, plus the error from its neighbours, is at least `threshold`; the ordered
/// methods have their own thresholds. Any `threshold` is valid. If memory runs out, the pixels are
/// unspecified.
ORV_C_API int32_t ORV_C_CALL orv_page_dither(const orv_image* image, int32_t method,
                                             int32_t threshold, uint32_t colour);

/// Reduces a 24-bit image to a one-bit image of the same size: every pixel that is not pure white
/// becomes ink. The two must not overlap.
ORV_C_API int32_t ORV_C_CALL orv_page_to_one_bit(const orv_image* source, const orv_image* target);

/// Finds the outermost rows and columns with ink in a one-bit image. `bounds` receives the first
/// row, the last row, the first column and the last column, in pixels; all are -1 without ink.
ORV_C_API int32_t ORV_C_CALL orv_page_bounds(const orv_image* image, int32_t bounds[4]);

/// Splits a 24-bit page for two print heads. Pixels whose distance from `colour` (0xRRGGBB, not
/// white) is at most `tolerance`, such as 0.1, go to `highlight`, the others to `background`. A
/// negative tolerance puts every pixel in `background`; one that is not finite is
/// `ORV_ERROR_ARGUMENT`. Both planes are 24-bit images of the page's size, and are dithered as by
/// `orv_page_dither`. The page and the planes must not overlap. If memory runs out, the planes are
/// unspecified. Similar colours have distances below 0.05; `orv page explain` prints the distances
/// of a page's colours.
ORV_C_API int32_t ORV_C_CALL orv_page_split(const orv_image* page, uint32_t colour,
                                            double tolerance, int32_t method, int32_t threshold,
                                            const orv_image* background,
                                            const orv_image* highlight);

/// Encrypts bytes to the format of protected files, which is at most 36 bytes longer. Each call of
/// a thread produces different bytes of the same length. `ORV_ERROR_INTERNAL` if the system's
/// cipher fails, or for more than about 2 GB.
ORV_C_API int32_t ORV_C_CALL orv_encrypt(const void* plain, uint32_t plain_length, void* buffer,
                                         uint32_t capacity, uint32_t* length);

/// Decrypts the bytes of a protected file; the result is shorter than they are. `ORV_ERROR_INVALID`
/// if they are damaged or incomplete, or if the system's cipher fails.
ORV_C_API int32_t ORV_C_CALL orv_decrypt(const void* bytes, uint32_t bytes_length, void* buffer,
                                         uint32_t capacity, uint32_t* length);

/// Encrypts a file. The target, which may be the source, is replaced when it is complete; a failure
/// leaves it unchanged. `ORV_ERROR_UNREADABLE` or `ORV_ERROR_UNWRITABLE` if that fails,
/// `ORV_ERROR_INTERNAL` as for `orv_encrypt`.
ORV_C_API int32_t ORV_C_CALL orv_encrypt_file(const uint16_t* source, uint32_t source_length,
                                              const uint16_t* target, uint32_t target_length);

/// Decrypts a file, like `orv_encrypt_file`; `ORV_ERROR_INVALID` as for `orv_decrypt`.
ORV_C_API int32_t ORV_C_CALL orv_decrypt_file(const uint16_t* source, uint32_t source_length,
                                              const uint16_t* target, uint32_t target_length);

/// Computes the SHA-256 digest of bytes; `ORV_ERROR_INTERNAL` if the system's function fails.
ORV_C_API int32_t ORV_C_CALL orv_hash(const void* bytes, uint32_t length, uint8_t digest[32]);

/// Computes the SHA-256 digest of a file; `ORV_ERROR_UNREADABLE` if it cannot be read or has 4 GiB
/// or more, `ORV_ERROR_INTERNAL` if the system's function fails.
ORV_C_API int32_t ORV_C_CALL orv_hash_file(const uint16_t* path, uint32_t path_length,
                                           uint8_t digest[32]);

#ifdef __cplusplus
}
#endif
