// A plug-in for the host's tests, in plain C. It keeps every rule of the boundary except the one
// that the environment variable FAKE_PLUGIN_BREAKS names.
//
// Its files have a line for each stream; a second section begins with the line "section":
//   NAME DATA_TYPE DECLARED_SAMPLES FOUND_SAMPLES START INTERVAL
#include <locale.h>
#include <math.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "plugin/ox_wp_plugin.h"

#define PROPERTY(name, kind, value)                                                                \
  {.identifier = ox_wp_prop_##name, .type = ox_wp_type_##kind, .kind##_value = value}

typedef _ox_wp_prop_type property;

enum { mostSections = 2, mostStreams = 64, mostFiles = 64, lasting = 3 };

struct stream {
  char name[64];
  long long type, declared, found;
  double start, interval;
};

struct section {
  char label[16]; // shared by the section and its variables
  struct stream streams[mostStreams];
  int count;
};

struct file {
  char path[4096];
  struct stat seen;
  struct section sections[mostSections];
  int count;
};

struct plugin {
  struct file* files[mostFiles];
  int count, messages, declined; // whether the last file was declined
};

// Not static, so that a build that hides nothing exports a symbol too many.
int breaks(const char* rule) {
  const char* broken = getenv("FAKE_PLUGIN_BREAKS");
  return broken && strcmp(broken, rule) == 0;
}

// In C++, which can.
extern void throwException(int isBadAlloc);

// Numbers that are hard to write as strings, then ordinary ones.
static double sample(long long index) {
  static const double edges[] = {-0.0, 5e-324, 1.7976931348623157e308, 1.0 / 3, 1e-310, INFINITY};
  return index < 6 ? edges[index] : (double)index / 7;
}

static int deliver(const property* all, int count, int index, property* out) {
  if (!out)
    return 1;
  out->identifier = ox_wp_prop_none;
  if (index < 0 || index >= count)
    return count == 0 || !breaks("INDEX");
  const property* p = &all[index];
  out->identifier = p->identifier;
  out->type = p->type;
  if (p->type == ox_wp_type_string || p->type == ox_wp_type_message)
    out->string_value = p->string_value;
  if (p->type == ox_wp_type_integer || p->type == ox_wp_type_message)
    out->integer_value = p->integer_value;
  if (p->type == ox_wp_type_double || (p->type == ox_wp_type_integer && breaks("RECORD_FIELDS")))
    out->double_value = p->double_value;
  return 0;
}

static int getPluginProperty(void* handle, int index, property* out) {
  const int type = breaks("MESSAGE_TYPE") ? ox_wp_type_string : ox_wp_type_message;
  const property properties[] = {
      PROPERTY(file_extension, string, "*.fake"),
      PROPERTY(plugin_name, string, breaks("NULL_STRING") ? NULL : "fake"),
      PROPERTY(plugin_version, string, "1"),
      {ox_wp_prop_error_message, 0, NULL, type, 0, "declined", 0, 0, 7},
  };
  struct plugin* plugin = handle;
  if (!plugin || !out)
    return 0;
  const int end = lasting + plugin->messages;
  if (index >= end ? !breaks("MESSAGES") : index >= lasting && breaks("EARLY_END"))
    plugin->messages = 0;
  return deliver(properties, index < end ? lasting + 1 : 0, index < lasting ? index : lasting, out);
}

static int releaseAllFiles(void* handle) {
  struct plugin* plugin = handle;
  while (plugin && plugin->count > 0)
    free(plugin->files[--plugin->count]);
  return plugin && breaks("RELEASE_ALL");
}

static int anyReleased;

static void release(void* plugin) {
  if (breaks("RELEASE"))
    abort();
  anyReleased = plugin && breaks("OBJECTS");
  releaseAllFiles(plugin);
  free(plugin);
}

static const char* getErrorMessage(void* handle) {
  const struct plugin* plugin = handle;
  return !plugin ? NULL : plugin->declined ? "no streams" : "";
}

static int hasChanged(struct file* file) {
  struct stat now = {0};
  (void)stat(file->path, &now); // all zero where the file is gone
  const int changed = now.st_size != file->seen.st_size || now.st_mtime != file->seen.st_mtime;
  file->seen = breaks("CHANGE") ? file->seen : now;
  return changed;
}

// Returns whether the file has a stream.
static int readFile(const char* path, struct file* file) {
  memset(file, 0, sizeof *file);
  strncpy(file->path, path, sizeof file->path - 1);
  FILE* input = fopen(path, "r");
  if (!input || fstat(fileno(input), &file->seen))
    return 0;
  const locale_t plain = newlocale(LC_ALL_MASK, "C", (locale_t)0);
  const locale_t before = uselocale(breaks("LOCALE") ? (locale_t)0 : plain);
  struct section* section = file->sections;
  for (struct stream s; section->count < mostStreams && fscanf(input, "%63s", s.name) == 1;)
    if (strcmp(s.name, "section") == 0 && section == file->sections)
      ++section;
    else if (fscanf(input, "%lld %lld %lld %lf %lf", &s.type, &s.declared, &s.found, &s.start,
                    &s.interval) == 5) {
      s.declared += breaks("DECLARED");
      section->streams[section->count++] = s;
    } else if (breaks("DAMAGED") && strstr(path, ".fake"))
      throwException(0);
  uselocale(before);
  freelocale(plain);
  if (!breaks("DESCRIPTOR"))
    fclose(input);
  file->count = (int)(section - file->sections) + 1;
  return file->sections->count > 0;
}

static void* idle(void* nothing) {
  pause();
  return nothing;
}

static void* parseFile(void* handle, const char* path) {
  struct plugin* plugin = handle;
  if (!plugin || !path || plugin->count == mostFiles || breaks("DECLINES"))
    return breaks("MISSING") ? plugin : NULL;
  if (breaks("HANG") && strstr(path, ".fake"))
    signal(SIGALRM, SIG_IGN), pause();
  if (breaks("PROCESS") && chdir("/") == 0 && setlocale(LC_ALL, "C.UTF-8"))
    umask(0), pthread_create(&(pthread_t){0}, NULL, idle, NULL);
  if (breaks("NAMES") && plugin->count > 0)
    plugin->files[0]->sections->streams->name[0] = '?';
  plugin->declined = plugin->declined && breaks("OLD_ERROR");
  struct file* file = malloc(sizeof *file);
  const int isRead = readFile(path, file);
  if (isRead && plugin->count > 0 && breaks("HANDLES"))
    return memcpy(plugin->files[0], file, sizeof *file);
  if (isRead)
    return plugin->files[plugin->count++] = file;
  free(file);
  if (breaks("PRINTS"))
    fprintf(stderr, "declined\n");
  if (breaks("PARSE") && plugin->count > 0)
    plugin->files[0]->count = 0;
  plugin->declined = ++plugin->messages > 0;
  return NULL;
}

static int releaseFile(void* plugin, void* file) {
  if (file && breaks("RELEASE_FILE"))
    ((struct plugin*)plugin)->files[0]->count = 0;
  return plugin || !breaks("NULL_PLUGIN");
}

static int getFileProperty(void* plugin, void* file, int index, property* out) {
  struct file* owner = file;
  if (!owner && breaks("THROWS"))
    throwException(1);
  if (owner && breaks("LABELS"))
    strcpy(owner->sections->label, "file");
  const property properties[] = {
      PROPERTY(file_kind, integer, 0),
      PROPERTY(section_count, integer, owner && !anyReleased ? owner->count : 0),
      PROPERTY(file_changed, integer, plugin && file && out && index == 2 && hasChanged(owner)),
  };
  return deliver(properties, plugin && file ? 3 : 0, index, out);
}

static void* getSectionHandle(void* plugin, void* file, int index) {
  struct file* owner = file;
  if (!plugin || !owner || index < 0 || index >= owner->count || (index == 1 && breaks("SECTION")))
    return NULL;
  return &owner->sections[index];
}

static int getSectionProperty(void* plugin, void* file, void* section, int index, property* out) {
  struct section* owner = section;
  if (!plugin || !file || !owner)
    return deliver(NULL, 0, index, out) && !breaks("NULL");
  const property properties[] = {
      PROPERTY(section_kind, integer, 0),
      PROPERTY(variable_count, integer, owner->count),
      PROPERTY(section_x_label, string, strcpy(owner->label, "time stamp")),
  };
  return deliver(properties, 3, index, out);
}

static int getVariableProperty(void* plugin, void* file, void* section, int variable, int index,
                               property* out) {
  struct section* owner = section;
  if (!plugin || !file || !owner || variable < 0 || variable >= owner->count)
    return deliver(NULL, 0, index, out);
  const struct stream* s = &owner->streams[variable];
  strcpy(owner->label, index == 5 ? "count" : "time stamp");
  const property properties[] = {
      PROPERTY(variable_name, string, s->name),
      PROPERTY(variable_kind, integer, breaks("KIND")),
      PROPERTY(variable_data_type, integer, s->type),
      PROPERTY(sample_count, integer, s->declared),
      PROPERTY(variable_x_label, string, owner->label),
      PROPERTY(variable_y_label, string, owner->label),
      PROPERTY(x_start, double, s->start),
      PROPERTY(x_step, double, s->interval),
      PROPERTY(x_end, double, fma((double)(s->declared - breaks("X_END")), s->interval, s->start)),
  };
  return deliver(properties, 9, index, out);
}

static int copyVariableData(void* plugin, void* file, void* section, int variable,
                            ox_wp_data_type type, void* buffer, int size) {
  const struct section* parsed = section;
  if (!plugin || !file || !parsed || variable < 0 || variable >= parsed->count)
    return !breaks(parsed ? "VARIABLE" : "NULL_SECTION");
  if (!buffer || (type != ox_wp_type_double && !breaks("TYPE")))
    return buffer || !breaks("NULL_BUFFER");
  if (size < 0 && breaks("NEGATIVE_SIZE"))
    memset(buffer, 0, 1);
  if (size > 0 && breaks("CRASH"))
    abort();
  ((struct plugin*)plugin)->declined *= breaks("COPY_ERROR");
  const struct file* owner = file;
  struct file now = *owner;
  if (!breaks("KEPT_SAMPLES") && !readFile(owner->path, &now))
    return 1;
  const long long asked = size / 8;
  const long long found = now.sections[parsed - owner->sections].streams[variable].found;
  for (long long i = 0; i < asked && i < found; ++i)
    ((double*)buffer)[i] = sample(3 * variable + i); // no two streams alike
  if (asked == found && breaks("OVERRUN"))
    ((double*)buffer)[asked] = 0;
  if (breaks("GROWS") && truncate(owner->path, now.seen.st_size + 1))
    return 1;
  return (asked > found && !breaks("LONG_COPY")) || breaks("NEVER_0");
}

int ox_wp_plugin_initialize(_ox_wp_plugin_functions_type* table) {
  if (!table || table->version < 1)
    return !breaks("REFUSED_TABLE");
  *table = (_ox_wp_plugin_functions_type){.version = OX_WP_PLUGIN_VERSION,
                                          .plugin = calloc(1, sizeof(struct plugin)),
                                          .get_plugin_property = getPluginProperty,
                                          .release = breaks("FUNCTION") ? NULL : release,
                                          .get_error_message = getErrorMessage,
                                          .parse_file = parseFile,
                                          .release_file = releaseFile,
                                          .release_all_files = releaseAllFiles,
                                          .get_file_property = getFileProperty,
                                          .get_section_handle = getSectionHandle,
                                          .get_section_property = getSectionProperty,
                                          .get_variable_property = getVariableProperty,
                                          .copy_variable_data = copyVariableData,
                                          .reserved_120[16] = breaks("SLOT") ? table : NULL};
  return 0;
}
