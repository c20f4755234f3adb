/*
 * ox_wp_plugin.h: the boundary between a waveform viewer (the host) and a reader plug-in.
 *
 * A plug-in is a shared library with one exported function, ox_wp_plugin_initialize. The host loads
 * the library and passes a table to that function. The plug-in fills the table with function
 * pointers, and the host calls them:
 *
 *   initialise -> parse a file -> read its properties -> get its sections -> read their properties
 *   and those of their variables -> copy samples -> release the plug-in object
 *
 * A variable is one recorded signal. In a miniSEED file it is a data stream.
 *
 * This header is plain C (C99 or later, or C++11 or later) and needs no other file. The layout is
 * that of 64-bit little-endian Linux and is fixed byte for byte; the assertions at the end of the
 * file check every offset.
 *
 * Everything here holds for any plug-in, except "The plug-in ox_wp_plugin_geo" near the end, which
 * describes the one that comes with this header.
 *
 * Rules for every function:
 *
 * - Threads. Make one call at a time in the whole process, from any thread, even for different
 *   plug-in objects: neither a plug-in nor the libraries that it uses need take a lock.
 * - Process. A plug-in prints nothing and starts no thread. It depends on no locale, and changes
 *   nothing of the process but what this header names.
 * - Files. To close a file alone, give each file a plug-in object of its own and release that.
 * - Status. An int result is 0 for success and 1 for failure, unless the function says otherwise.
 * - Null. An argument can be null only where the function says what it then does. Passing a handle
 *   that is neither null nor valid is undefined behaviour.
 * - Exceptions. Functions do not throw, except that ox_wp_plugin_initialize, parse_file and
 *   copy_variable_data may throw std::bad_alloc. A C host cannot catch it and is terminated. If
 *   ox_wp_plugin_initialize threw, the table holds no functions.
 * - Strings are NUL-terminated bytes, in the encoding of the file that they come from, and can
 *   contain control characters. The plug-in owns them. string_value says how long they are valid.
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
 * Handles are opaque: the host stores them and passes them back. Null means that there is no such
 * object.
 *
 * - A plug-in handle is valid from ox_wp_plugin_initialize until release.
 * - File and section handles are valid until release_all_files or release, whichever comes first. A
 *   successful release_file ends those of its file. A section has the same handle all that time.
 */
typedef void* ox_wp_plugin_handle;
typedef void* ox_wp_file_handle;
typedef void* ox_wp_section_handle;

/* The kinds of values and of samples. Any 32-bit value may be `type` of copy_variable_data. */
#ifdef __cplusplus
enum ox_wp_data_type : int32_t
#else
enum ox_wp_data_type
#endif
{
  ox_wp_type_none = 0,     /* as a variable's type: a copy may fail */
  ox_wp_type_string = 2,   /* a string, in string_value */
  ox_wp_type_message = 8,  /* a numbered message: code in integer_value, string in string_value */
  ox_wp_type_double = 10,  /* an IEEE double, in double_value; of samples: an array of doubles */
  ox_wp_type_integer = 13, /* a signed 64-bit integer, in integer_value */
};
#ifndef __cplusplus
typedef enum ox_wp_data_type ox_wp_data_type;
#endif

/*
 * What a property is about, grouped by level. The comment starts with the type of the value. The
 * enumerator ox_wp_index_NAME below is the index of the property ox_wp_prop_NAME at its level.
 */
enum ox_wp_prop_identifier {
  ox_wp_prop_none = 0, /* no property was delivered */

  /* The plug-in. These have no fixed index: see get_plugin_property. */
  ox_wp_prop_file_extension = 145, /* string: a shell pattern for names of files that the plug-in
                                      reads. A host tries "*" after patterns like "*.mseed". */
  ox_wp_prop_exporter = 147,       /* string: a format that the plug-in exports */
  ox_wp_prop_plugin_name = 144,    /* string */
  ox_wp_prop_plugin_version = 146, /* string */
  ox_wp_prop_error_message = 148,  /* message: queued; its code means what the plug-in chooses */

  /* A file. */
  ox_wp_prop_file_kind = 9,      /* integer: 0; no other kind is defined */
  ox_wp_prop_section_count = 10, /* integer: number of sections of the file, 0 to INT_MAX */
  ox_wp_prop_file_changed = 11,  /* integer: the change flag. 1 if the file on disk changed since
                                    the flag was last read (at first: since the file was parsed),
                                    else 0. Each change is reported once: another size, another
                                    modification time in whole seconds, no file, or an empty one.
                                    A rewrite to the same size within a second is not seen. */

  /* A section. */
  ox_wp_prop_section_kind = 38,    /* integer: 0; no other kind is defined */
  ox_wp_prop_variable_count = 39,  /* integer: number of variables, 0 to INT_MAX */
  ox_wp_prop_section_x_label = 37, /* string: label of the x axis */

  /* A variable. */
  ox_wp_prop_variable_name = 48,      /* string */
  ox_wp_prop_variable_kind = 51,      /* integer: 0; no other kind is defined */
  ox_wp_prop_variable_data_type = 52, /* integer: ox_wp_type_double, or ox_wp_type_none */
  ox_wp_prop_sample_count = 53,       /* integer, not negative: number of samples that the file
                                         declares; a copy can find fewer, see copy_variable_data */
  ox_wp_prop_variable_x_label = 49,   /* string: label of the x axis */
  ox_wp_prop_variable_y_label = 50,   /* string: label of the y axis */
  ox_wp_prop_x_start = 34,            /* double: time of the first sample in the file, in seconds;
                                         each plug-in chooses which time is 0 */
  ox_wp_prop_x_step = 35,             /* double: sample interval in seconds; 0 when the sample rate
                                         is unknown; negative, infinite or NaN where a damaged
                                         file's sample rate makes it so */
  ox_wp_prop_x_end = 36,              /* double: start + sample count * interval, where product and
                                         sum may each be rounded; copy_variable_data says when this
                                         is the time just after the last sample */
};

/*
 * The fixed indexes of properties, an enumeration for each level. A host passes them to
 * get_file_property, get_section_property and get_variable_property.
 */
enum ox_wp_file_index {
  ox_wp_index_file_kind = 0,
  ox_wp_index_section_count = 1,
  ox_wp_index_file_changed = 2,
};
enum ox_wp_section_index {
  ox_wp_index_section_kind = 0,
  ox_wp_index_variable_count = 1,
  ox_wp_index_section_x_label = 2,
};
enum ox_wp_variable_index {
  ox_wp_index_variable_name = 0,
  ox_wp_index_variable_kind = 1,
  ox_wp_index_variable_data_type = 2,
  ox_wp_index_sample_count = 3,
  ox_wp_index_variable_x_label = 4,
  ox_wp_index_variable_y_label = 5,
  ox_wp_index_x_start = 6,
  ox_wp_index_x_step = 7,
  ox_wp_index_x_end = 8,
};

/*
 * A property record: 56 bytes, owned by the caller.
 *
 * A property function writes identifier and, on success, type and the value fields of that type.
 * All other fields keep what the caller put there.
 *
 * A host walks a level by index: 0, 1, 2, ... until identifier comes back 0. For files, sections
 * and variables the function then also returns 1. A plug-in can have more properties than those
 * above, at the indexes after them: a host passes over an identifier that it does not know.
 */
typedef struct _ox_wp_prop_type {
  int32_t identifier; /* an ox_wp_prop_identifier; ox_wp_prop_none: no property was delivered */
  int32_t reserved_4;
  const char* label; /* a second string; not used by any property above */
  int32_t type;      /* an ox_wp_data_type: which of the value fields count */
  int32_t reserved_20;
  const char* string_value; /* for the types string and message, then not null. Owned by the
                               plug-in. A label of an axis is valid only until the next property
                               call on the same section or one of its variables, and a message
                               until the next call on the same plug-in object: copy it first. Any
                               other string is valid until its plug-in object or file is released.
                             */
  double double_value;      /* for the type double */
  int64_t reserved_40;
  int64_t integer_value; /* for the types integer and message */
} _ox_wp_prop_type;

/*
 * The table: 256 bytes, owned by the host. ox_wp_plugin_initialize zeroes it and fills the slots
 * below; the others stay null and are free for later versions.
 */
typedef struct _ox_wp_plugin_functions_type {
  /* Before ox_wp_plugin_initialize: the version of the host's table, at least 1. After it: 1. */
  int32_t version;
  int32_t reserved_4;

  /* The plug-in object: the first argument of every function below. release destroys it. */
  ox_wp_plugin_handle plugin;

  /*
   * Reads property number `index` (from 0) of the plug-in: its file name patterns, its exporters,
   * its name and its version (each only if it has one), then the queued messages, oldest first.
   * Any index past the end clears the queue: a full walk delivers every message once, and a walk
   * that stops early leaves all of them queued.
   *
   * Ignore its result: look at property->identifier, which is 0 for an index that is negative or
   * past the end. Does nothing when `plugin` or `property` is null.
   */
  int (*get_plugin_property)(ox_wp_plugin_handle plugin, int index, _ox_wp_prop_type* property);

  /* Destroys the plug-in object with all its files. Every handle and string of it is then invalid.
     Does nothing when `plugin` is null. */
  void (*release)(ox_wp_plugin_handle plugin);

  /* Returns why the last parse_file or copy_variable_data failed: a string that both clear at their
     start. Queue all other messages: a host shows both. Valid until the next call on the same
     plug-in object. Null only when `plugin` is null. */
  const char* (*get_error_message)(ox_wp_plugin_handle plugin);

  /*
   * Parses a file and keeps its description: the names, counts and times of its variables, not
   * their samples.
   *
   * A relative `path` is resolved against the current working directory, in this call and again in
   * every later copy and every reading of the change flag.
   *
   * Returns a new file handle at each call, also for a path parsed before, and for a file whose
   * variables are all of ox_wp_type_none. Returns null when `plugin` or `path` is null, or when the
   * file is missing, cannot be read or contains nothing that the plug-in delivers. Earlier files
   * stay as they are.
   */
  ox_wp_file_handle (*parse_file)(ox_wp_plugin_handle plugin, const char* path);

  void* reserved_48; /* null */

  /* Destroys one file and returns 0. A plug-in need not offer this: then it returns 1 and releases
     nothing. Returns 1 when `plugin` or `file` is null. */
  int (*release_file)(ox_wp_plugin_handle plugin, ox_wp_file_handle file);

  /* Destroys all files of the plug-in. Every file and section handle, and every string of a file,
     is then invalid. Always returns 0, and does nothing when `plugin` is null. */
  int (*release_all_files)(ox_wp_plugin_handle plugin);

  /*
   * Reads property number `index` (an ox_wp_file_index) of a file. Reading ox_wp_index_file_changed
   * resets the change flag. To read new content, parse the path again.
   *
   * Returns 1, with identifier 0, when `file` is null or the index is out of range; 1 when
   * `property` is null.
   */
  int (*get_file_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file, int index,
                           _ox_wp_prop_type* property);

  /* Returns section number `index` (from 0) of a file; null when there is none or when `plugin` or
     `file` is null. */
  ox_wp_section_handle (*get_section_handle)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                                             int index);

  /* Reads property number `index` (an ox_wp_section_index) of a section. Returns 1, with identifier
     0, when `section` is null or the index is out of range; 1 when `property` is null. */
  int (*get_section_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                              ox_wp_section_handle section, int index, _ox_wp_prop_type* property);

  void* reserved_96; /* null */

  /* Reads property number `index` (an ox_wp_variable_index) of the section's variable number
     `variable` (from 0). Returns 1, with identifier 0, when `section` is null or either number is
     out of range; 1 when `property` is null. */
  int (*get_variable_property)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                               ox_wp_section_handle section, int variable, int index,
                               _ox_wp_prop_type* property);

  /*
   * Copies samples of a variable, from the first one on, into `buffer` (aligned for doubles). They
   * are read in this call, from the file that the path names now.
   *
   * Samples come in the order of the file, each directly after the one before. Gaps are not filled,
   * records are not sorted and overlaps are not removed. Only in a file with none of these is
   * start + i * step the time of sample i, and the end the time just after the last one. Where a
   * record is lost or cannot be decoded, all samples after it move to earlier times: when a copy
   * finds fewer samples than declared, what is missing need not be the end of the recording.
   *
   * `type` must be ox_wp_type_double. `size` is the size of the buffer in BYTES, not in samples. It
   * is rounded down to whole doubles, so one call delivers at most 268,435,455 samples. A size
   * below 8, which may be negative, stores nothing: `buffer` may then be null. Ignore the result.
   *
   * Returns 0 when the buffer was filled and the file read to its end; 1 otherwise:
   * - `section` is null, there is no such variable, `type` is another one, or `buffer` is null: the
   *   buffer is not touched.
   * - The buffer is larger than the variable, or some records cannot be decoded: the samples found
   *   are at the start of the buffer, and the rest of it is not touched. Their number is not
   *   reported: fill the buffer with a mark (a NaN) beforehand to see it.
   * - The file cannot be read, or not to its end: the samples found before the error are at the
   *   start of the buffer, which can be full.
   */
  int (*copy_variable_data)(ox_wp_plugin_handle plugin, ox_wp_file_handle file,
                            ox_wp_section_handle section, int variable, ox_wp_data_type type,
                            void* buffer, int size);

  void* reserved_120[17]; /* null */
} _ox_wp_plugin_functions_type;

/*
 * The entry point. Set table->version to OX_WP_PLUGIN_VERSION and call it.
 *
 * Returns 0 with the table filled and a new plug-in object, independent of all others, in
 * table->plugin. Returns 1 and leaves the table untouched when `table` is null or its version is
 * below 1.
 *
 * Keep the library loaded for as long as the object lives.
 *
 * A plug-in in C++ also exports what it instantiates of the standard library, even when it is
 * compiled with -fvisibility=hidden. Linked with -Wl,--version-script=FILE it does not, where FILE
 * holds { global: ox_wp_plugin_initialize; local: *; };
 */
#ifdef __GNUC__
__attribute__((visibility("default")))
#endif
int ox_wp_plugin_initialize(_ox_wp_plugin_functions_type* table);

/* The type of the entry point, for the result of dlsym. */
typedef int (*ox_wp_plugin_initialize_function)(_ox_wp_plugin_functions_type* table);

#ifdef __cplusplus
}
#endif

/*
 * The plug-in ox_wp_plugin_geo
 * ============================
 *
 * What is true of the plug-in that comes with this header, and need not be true of another:
 *
 * - Files. It delivers miniSEED 2: one section with a variable for each data stream, in the order
 *   of their first records. It declines all else: miniSEED 3, packed miniSEED, SEG-2, Geopsy signal
 *   files, what is no regular file; and of miniSEED 2 what is named *.dat or *.seg2, and what has
 *   bytes that are not text among its first twenty, such as codes padded with zero bytes. It
 *   registers the single pattern "*", no exporter, no name and no version. It reports no messages,
 *   and its error string is always empty: parse_file does not say why it declined a file.
 * - Paths. parse_file edits its path. It drops white space around it. "/", "\" and "^" separate
 *   components; "." and ".." are resolved in the string, without a look at links. A leading "~" is
 *   replaced by $HOME, and ${NAME}, or $NAME before "/" or "\", by the environment variable; what
 *   is not set stays. All this is done twice: "./~/a" becomes "~/a" and then $HOME/a. What cannot
 *   be named so is opened through a symbolic link with a plain name and the same ending; the change
 *   flag follows it.
 * - Names are those of the source: "NET_STA_LOC_CHA".
 * - Labels. The label of the x axis is "time stamp", that of the y axis "count". All labels of a
 *   section share one string: the next label overwrites it.
 * - Times. A start is the low 32 bits of the microseconds since 1970, in seconds, -2147.483648 to
 *   2147.483647. It repeats every 71.6 minutes and is no date. A start b is remainder(b - a,
 *   4294.967296) after a, if they are less than 35 minutes apart. An end is rounded once.
 * - Data types. Text, 16- and 32-bit integers, 32- and 64-bit floats, Steim 1 and Steim 2 are
 *   ox_wp_type_double. All other encodings are ox_wp_type_none; a copy converts some of them all
 *   the same. Of a record that declares more samples than it holds, a copy finds those that it
 *   holds. A compressed record that does so, or whose end is missing, gives none.
 * - Copies. Each copy reads all headers of the file and decodes the records of its own stream,
 *   however small the buffer. Samples are never kept. release_file always returns 1.
 * - libmseed. Each parse and each copy sets log handlers of libmseed that discard messages, for the
 *   whole process. A host that uses libmseed too sets its own again afterwards (ms_loginit).
 * - The library stays loaded until the process ends, even after dlclose.
 */

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
