/*
 * ox_wp_plugin.h: the boundary between a waveform viewer (the host) and a reader plug-in.
 *
 * A plug-in is a shared library with one exported function, ox_wp_plugin_initialize. The host loads
 * the library, hands that function a table, and from then on talks to the plug-in through the
 * function pointers that the plug-in has put there:
 *
 *   initialise -> parse a file -> read its properties -> take its sections -> read their properties
 *   and those of their variables -> copy samples -> release all files -> release the plug-in
 *
 * This header is plain C (C99 or later, or C++11 or later) and needs no other file. The layout is
 * that of 64-bit little-endian Linux and is fixed byte for byte; the assertions at the end of the
 * file check every offset.
 *
 * Rules that hold for every function:
 *
 * - Threads. A plug-in starts no thread and takes no lock. Call it from one thread at a time, and
 *   never two calls at once, even for different plug-in objects: the library that decodes records
 *   keeps one reading state per process.
 * - Output. A plug-in prints nothing.
 * - libmseed. parse_file and copy_variable_data give that library log handlers that discard, for
 * the whole process, and use the one reading state behind ms_readmsr. A host that uses it too sets
 * its own handlers again and has no file half read across these calls.
 * - Status. An int result is 0 for success and 1 for failure, unless the function says otherwise.
 * - Null. Null arguments are refused as each function says; a handle that is neither null nor valid
 *   is undefined behaviour.
 * - Exceptions. None leaves a function in normal operation. Where memory runs out, a C++
 *   std::bad_alloc may pass through initialize, parse_file and copy_variable_data; a host written
 * in C ends there. A table that was given to an initialize that failed so holds no function.
 * - Texts are NUL-terminated bytes in the encoding of the file they come from; the plug-in owns
 *   them. How long they live is told at string_value.
 */
#ifndef OX_WP_PLUGIN_H
#define OX_WP_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the table that this header describes. */
#define OX_WP_PLUGIN_VERSION 1

/* The name of the exported function, for dlsym. */
#define OX_WP_PLUGIN_ENTRY_POINT "ox_wp_plugin_initialize"

/*
 * Handles. Each is opaque: the host keeps it and hands it back. Null means that there is no such
 * object.
 *
 * - A plug-in handle lives from ox_wp_plugin_initialize to release.
 * - File and section handles live until release_all_files or release, whichever comes first.
 */
typedef void* ox_wp_plugin_handle;
typedef void* ox_wp_file_handle;
typedef void* ox_wp_section_handle;

/* What a value or an array of samples is. Any 32-bit value may be passed where one is expected. */
#ifdef __cplusplus
enum ox_wp_data_type : int32_t
#else
enum ox_wp_data_type
#endif
{
  ox_wp_type_none = 0,    /* no deliverable data: the plug-in can't convert these samples */
  ox_wp_type_string = 2,  /* a text, in string_value */
  ox_wp_type_message = 8, /* a numbered message: code in integer_value, text in string_value */
  ox_wp_type_double = 10, /* an IEEE double, in double_value; as sample type, arrays of doubles */
  ox_wp_type_integer = 13 /* a signed 64-bit integer, in integer_value */
};
#ifndef __cplusplus
typedef enum ox_wp_data_type ox_wp_data_type;
#endif

/* What a property is about. The comment gives its level, its index there, and its value type. */
enum ox_wp_prop_identifier {
  ox_wp_prop_none = 0, /* no property was delivered */

  ox_wp_prop_file_kind = 9,      /* file 0, integer: always 0 */
  ox_wp_prop_section_count = 10, /* file 1, integer: number of sections of the file */
  ox_wp_prop_file_changed = 11,  /* file 2, integer: 1 if the file on disk changed since the last
                                    time this was asked (at first: since it was parsed), else 0;
                                    a change is reported once, and is seen by size and by
                                    modification time in whole seconds; a file that vanished
                                    has changed */

  ox_wp_prop_x_start = 34, /* variable 6, double: start time in seconds; only the low 32 bits of
                              the microseconds since 1970 are kept, so it lies within -2147.483648
                              and 2147.483647 and two recordings can show the same one */
  ox_wp_prop_x_step = 35,  /* variable 7, double: sample interval in seconds, 0 when the sample
                              rate is unknown; negative, infinite or NaN where a damaged file's
                              sample rate makes it so */
  ox_wp_prop_x_end = 36,   /* variable 8, double: time just after the last sample, in seconds:
                              start + sample count * interval, rounded once */

  ox_wp_prop_section_x_label = 37, /* section 2, string: label of the x axis, "time stamp" */
  ox_wp_prop_section_kind = 38,    /* section 0, integer: always 0 */
  ox_wp_prop_variable_count = 39,  /* section 1, integer: number of variables of the section */

  ox_wp_prop_variable_name = 48,      /* variable 0, string: name of the stream */
  ox_wp_prop_variable_x_label = 49,   /* variable 4, string: label of the x axis, "time stamp" */
  ox_wp_prop_variable_y_label = 50,   /* variable 5, string: label of the y axis, "count" */
  ox_wp_prop_variable_kind = 51,      /* variable 1, integer: always 0 */
  ox_wp_prop_variable_data_type = 52, /* variable 2, integer: ox_wp_type_double when the samples
                                         can be copied, ox_wp_type_none when they can't */
  ox_wp_prop_sample_count = 53,       /* variable 3, integer: number of samples that the file
                                         declares; a copy can find fewer, see copy_variable_data */

  /* Properties of the plug-in have no fixed index: see get_plugin_property. */
  ox_wp_prop_plugin_name = 144,    /* string */
  ox_wp_prop_file_extension = 145, /* string: one pattern of file names that the plug-in reads */
  ox_wp_prop_plugin_version = 146, /* string */
  ox_wp_prop_exporter = 147,       /* string: one format that the plug-in exports */
  ox_wp_prop_error_message = 148   /* message: one queued message with its code */
};

/*
 * A property, as the plug-in reports it. 56 bytes, owned by the caller.
 *
 * A property function writes identifier, and on success type and the value fields that belong to
 * that type; all other fields keep what the caller put there.
 *
 * Each level is walked by index: ask 0, 1, 2, ... until identifier comes back 0 (for files,
 * sections and variables the function then also returns 1).
 */
typedef struct _ox_wp_prop_type {
  int32_t identifier; /* an ox_wp_prop_identifier; ox_wp_prop_none: no property was delivered */
  int32_t reserved_4;
  const char* label; /* a second text; this plug-in never writes it */
  int32_t type;      /* an ox_wp_data_type: which of the value fields count */
  int32_t reserved_20;
  const char* string_value; /* for types string and message. Owned by the plug-in; valid until the
                               object it belongs to changes or is released. Axis labels
                               (identifiers 37, 49 and 50) only until the next property call on
                               the same section: all labels of a section share one text. */
  double double_value;      /* for type double */
  int64_t reserved_40;
  int64_t integer_value; /* for types integer and message */
} _ox_wp_prop_type;

/*
 * The table. 256 bytes, owned by the host. ox_wp_plugin_initialize zeroes it and fills the slots
 * below; the others stay null and are free for later versions.
 */
typedef struct _ox_wp_plugin_functions_type {
  /* Before ox_wp_plugin_initialize: the version of the host's table, at least 1. After it: 1. */
  int32_t version;
  int32_t reserved_4;

  /* The plug-in object; first argument of every function below. Ends with release. */
  ox_wp_plugin_handle plugin;

  /*
   * Reads property number `index` (from 0) of the plug-in: its file name patterns, its exporters,
   * its name and its version (each only if it has one), then the queued messages, oldest first.
   * An index past the end, whichever it is, clears the queue: a full walk delivers every message
   * once; a walk that stops early leaves all of them queued.
   *
   * The result means nothing: look at property->identifier. Does nothing when `plugin` or
   * `property` is null; `identifier` is 0 for an index that is negative or past the end.
   */
  int (*get_plugin_property)(ox_wp_plugin_handle plugin, int index, _ox_wp_prop_type* property);

  /* Destroys the plug-in object with all its files. Every handle and text of it is then invalid.
     Null is allowed and does nothing. */
  void (*release)(ox_wp_plugin_handle plugin);

  /* The plug-in's current error text, empty when there is none. Valid until the next call. Null
     only for a null `plugin`. */
  const char* (*get_error_message)(ox_wp_plugin_handle plugin);

  /*
   * Parses a file and keeps it: the names, sizes and times of its streams, not their samples.
   *
   * `path` is absolute, or relative to the working directory of this call and of every later copy
   * and change question alike. White space around it is dropped;
   * "/", "\" and "^" separate; "." and ".." are resolved by text; a leading "~" stands for $HOME;
   * ${NAME}, and $NAME where a "/" or "\" follows, stand for environment variables.
   *
   * Returns a new file handle at each call, also for a path parsed before; null when `plugin` or
   * `path` is null or when the file is missing, can't be read or holds nothing that the plug-in
   * delivers. Earlier files are not touched either way.
   */
  ox_wp_file_handle (*parse_file)(ox_wp_plugin_handle plugin, const char* path);

  void* reserved_48; /* null */

  /* Not offered: always returns 1 and releases nothing. A host that parses a file again and again
     uses release_all_files from time to time. */
  int (*release_file)(ox_wp_plugin_handle plugin, ox_wp_file_handle file);

  /* Destroys all files of the plug-in; every file and section handle is then invalid. Always
     returns 0. */
  int (*release_all_files)(ox_wp_plugin_handle plugin);

  /*
   * Reads property number `index` (from 0) of a file. Asking the change flag (index 2) looks at the
   * disk and takes what it finds as the state that the next question is compared with; to see the
   * new content, parse the path again.
   *
   * Returns 1, with identifier 0, when `file` is null or the index out of range; 1 when `property`
   * is null.
   */
  int (*get_file_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file, int index,
                           _ox_wp_prop_type* property);

  /* The section number `index` (from 0) of a file; null when there is none or when `plugin` or
     `file` is null. */
  ox_wp_section_handle (*get_section_handle)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                                             int index);

  /* Reads property number `index` (from 0) of a section. Returns 1, with identifier 0, when
     `section` is null or the index out of range; 1 when `property` is null. */
  int (*get_section_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                              ox_wp_section_handle section, int index, _ox_wp_prop_type* property);

  void* reserved_96; /* null */

  /* Reads property number `index` (from 0) of the section's variable number `variable` (from 0).
     Returns 1, with identifier 0, when `section` is null or either number out of range; 1 when
     `property` is null. */
  int (*get_variable_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                               ox_wp_section_handle section, int variable, int index,
                               _ox_wp_prop_type* property);

  /*
   * Copies samples of a variable, from its first one on, into `buffer` (aligned for doubles). The
   * whole file, as it is now, is read for it each time, however small the buffer: ask the change
   * flag first. Samples come in file order and without a hole: gaps in time are not filled.
   *
   * `type` must be ox_wp_type_double. `size` is the size of the buffer in BYTES, not in samples; it
   * is rounded down to whole doubles, so that one call delivers at most 268,435,455 samples.
   *
   * Returns 0 when the buffer was filled, 1 otherwise:
   * - `section` null, no such variable, another type, or a null buffer with room for a sample:
   *   the buffer is not touched;
   * - the buffer is larger than the stream, or some records can't be decoded: the samples that were
   *   found stand at the start of the buffer, the rest of it is not touched. How many there are is
   *   not reported: fill the buffer with a mark (a NaN) beforehand to tell;
   * - the file can't be read any more: the samples found up to there are stored.
   * A negative size stores nothing, and the result then tells nothing.
   */
  int (*copy_variable_data)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                            ox_wp_section_handle section, int variable, ox_wp_data_type type,
                            void* buffer, int size);

  void* reserved_120[17]; /* null */
} _ox_wp_plugin_functions_type;

/*
 * The entry point. Set table->version to OX_WP_PLUGIN_VERSION and call it.
 *
 * Returns 0, the table filled and a new plug-in object in table->plugin, independent of all others;
 * or 1, with the table untouched, when `table` is null or its version below 1.
 *
 * Keep the library loaded for as long as the object lives.
 */
#ifdef __GNUC__
__attribute__((visibility("default")))
#endif
int ox_wp_plugin_initialize(_ox_wp_plugin_functions_type* table);

/* Its type, for the result of dlsym. */
typedef int (*ox_wp_plugin_initialize_function)(_ox_wp_plugin_functions_type* table);

#ifdef __cplusplus
}
#endif

/* The layout, checked. C99 has no assertion at compile time: an array of size -1 stands in. */
#ifdef __cplusplus
#define OX_WP_CHECK(name, condition) static_assert(condition, #name)
#else
#define OX_WP_CHECK(name, condition) typedef char ox_wp_check_##name[(condition) ? 1 : -1]
#endif
#define OX_WP_CHECK_TABLE(field, position)                                                         \
  OX_WP_CHECK(table_##field, offsetof(_ox_wp_plugin_functions_type, field) == (position))
#define OX_WP_CHECK_PROPERTY(field, position)                                                      \
  OX_WP_CHECK(property_##field, offsetof(_ox_wp_prop_type, field) == (position))

OX_WP_CHECK(pointer_size, sizeof(void*) == 8);
OX_WP_CHECK(int_size, sizeof(int) == 4);
OX_WP_CHECK(data_type_size, sizeof(ox_wp_data_type) == 4);

OX_WP_CHECK(table_size, sizeof(_ox_wp_plugin_functions_type) == 256);
OX_WP_CHECK_TABLE(version, 0);
OX_WP_CHECK_TABLE(reserved_4, 4);
OX_WP_CHECK_TABLE(plugin, 8);
OX_WP_CHECK_TABLE(get_plugin_property, 16);
OX_WP_CHECK_TABLE(release, 24);
OX_WP_CHECK_TABLE(get_error_message, 32);
OX_WP_CHECK_TABLE(parse_file, 40);
OX_WP_CHECK_TABLE(reserved_48, 48);
OX_WP_CHECK_TABLE(release_file, 56);
OX_WP_CHECK_TABLE(release_all_files, 64);
OX_WP_CHECK_TABLE(get_file_property, 72);
OX_WP_CHECK_TABLE(get_section_handle, 80);
OX_WP_CHECK_TABLE(get_section_property, 88);
OX_WP_CHECK_TABLE(reserved_96, 96);
OX_WP_CHECK_TABLE(get_variable_property, 104);
OX_WP_CHECK_TABLE(copy_variable_data, 112);
OX_WP_CHECK_TABLE(reserved_120, 120);

OX_WP_CHECK(property_size, sizeof(_ox_wp_prop_type) == 56);
OX_WP_CHECK_PROPERTY(identifier, 0);
OX_WP_CHECK_PROPERTY(reserved_4, 4);
OX_WP_CHECK_PROPERTY(label, 8);
OX_WP_CHECK_PROPERTY(type, 16);
OX_WP_CHECK_PROPERTY(reserved_20, 20);
OX_WP_CHECK_PROPERTY(string_value, 24);
OX_WP_CHECK_PROPERTY(double_value, 32);
OX_WP_CHECK_PROPERTY(reserved_40, 40);
OX_WP_CHECK_PROPERTY(integer_value, 48);

#undef OX_WP_CHECK_PROPERTY
#undef OX_WP_CHECK_TABLE
#undef OX_WP_CHECK

#endif
