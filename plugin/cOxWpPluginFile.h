// The record of one parsed file: its path, its size and time on the disk, its sections and
// properties.
#pragma once

#include <cstdint>
#include <iterator>
#include <list>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "plugin/cOxWpPluginProperty.h"
#include "plugin/ox_wp_plugin.h"

// Sections are elements of a list and never move: the address of a section is its handle.
template<class Plugin, class Section>
class cOxWpPluginFile {
public:
  explicit cOxWpPluginFile(Plugin& plugin) : plugin_(&plugin) {}
  cOxWpPluginFile(const cOxWpPluginFile&) = delete;
  cOxWpPluginFile& operator=(const cOxWpPluginFile&) = delete;

  Plugin& plugin() noexcept { return *plugin_; }
  const Plugin& plugin() const noexcept { return *plugin_; }
  std::list<Section>& sections() noexcept { return sections_; }
  const std::list<Section>& sections() const noexcept { return sections_; }
  const std::string& fileName() const noexcept { return fileName_; }

  // In bytes; 0 for an empty name and for one that cannot be examined.
  unsigned long getFileSize(const std::string& name) const;

  // In whole seconds since 1970-01-01 UTC; 0 for an empty name and for one that cannot be examined.
  long getLastWriteTime(const std::string& name) const;

  // Stores the name, and the size and time that the file has now. Does nothing when it is the name
  // already held.
  void setFileName(const std::string& name);
  void setFileName(const char* name) { setFileName(std::string(name ? name : "")); }

  // Compares the file's size and time with those held, and then holds the new ones: a change is
  // reported once. An empty or vanished file counts with time 0.
  bool checkFileChanged();

  // Returns section number `index`; null if there is none.
  Section* getSectionHandle(int index) noexcept { return sectionAt(sections_, index); }
  const Section* getSectionHandle(int index) const noexcept { return sectionAt(sections_, index); }

  // Reads property number `index`: first the number of sections, then the stored properties.
  // Returns 0 on success, and 1 with identifier 0 for an index out of range. `property` is not
  // null. Its strings are valid until the properties change.
  int getFileProperty(int index, _ox_wp_prop_type* property) const;

  void pushProperty(const cOxWpPluginProperty& property) { properties_.push_back(property); }
  void pushProperty(const _ox_wp_prop_type& record) { properties_.emplace_back(record); }

  // Replaces the first property of the same identifier and label, or appends.
  void setProperty(const cOxWpPluginProperty& property);

  void clearProperties() noexcept { properties_.clear(); }

  void popSection();

  void setErrorMessage(const std::string& message) { plugin_->setErrorMessage(message); }
  void queueErrorMessage(int code, const std::string& message) {
    plugin_->queueErrorMessage(code, message);
  }

private:
  // Size and time from one stat call, so that they belong together.
  struct cFileState {
    std::uint64_t size = 0; // bytes
    std::int64_t time = 0;  // seconds since 1970-01-01 UTC
  };
  static cFileState stateOf(const std::string& name);

  // For the list and for the const list.
  template<class Sections>
  static auto* sectionAt(Sections& sections, int index) noexcept {
    return index >= 0 && index < std::ssize(sections) ? &*std::next(sections.begin(), index)
                                                      : nullptr;
  }

  std::string fileName_;
  std::uint64_t fileSize_ = 0;     // as setFileName or checkFileChanged last saw it
  std::int64_t lastWriteTime_ = 0; // likewise
  std::vector<cOxWpPluginProperty> properties_;
  Plugin* plugin_;              // not owned; outlives the file
  std::list<Section> sections_; // in the order of the reader
};

template<class Plugin, class Section>
typename cOxWpPluginFile<Plugin, Section>::cFileState
cOxWpPluginFile<Plugin, Section>::stateOf(const std::string& name) {
  struct stat status = {};
  if (name.empty() || stat(name.c_str(), &status) != 0)
    return {};
  return {static_cast<std::uint64_t>(status.st_size), status.st_mtime};
}

template<class Plugin, class Section>
unsigned long cOxWpPluginFile<Plugin, Section>::getFileSize(const std::string& name) const {
  return stateOf(name).size;
}

template<class Plugin, class Section>
long cOxWpPluginFile<Plugin, Section>::getLastWriteTime(const std::string& name) const {
  return stateOf(name).time;
}

template<class Plugin, class Section>
void cOxWpPluginFile<Plugin, Section>::setFileName(const std::string& name) {
  if (name == fileName_)
    return;
  fileName_ = name;
  const cFileState now = stateOf(name);
  fileSize_ = now.size;
  lastWriteTime_ = now.time;
}

template<class Plugin, class Section>
bool cOxWpPluginFile<Plugin, Section>::checkFileChanged() {
  cFileState now = stateOf(fileName_);
  if (now.size == 0)
    now.time = 0;
  if (now.size == fileSize_ && now.time == lastWriteTime_)
    return false;
  fileSize_ = now.size;
  lastWriteTime_ = now.time;
  return true;
}

template<class Plugin, class Section>
int cOxWpPluginFile<Plugin, Section>::getFileProperty(int index, _ox_wp_prop_type* property) const {
  if (index == 0) {
    property->identifier = ox_wp_prop_section_count;
    property->type = ox_wp_type_integer;
    property->integer_value = std::ssize(sections_);
    return 0;
  }
  if (index < 1 || index > std::ssize(properties_)) {
    property->identifier = ox_wp_prop_none;
    return 1;
  }
  *property = properties_[static_cast<std::size_t>(index) - 1].delivered();
  return 0;
}

template<class Plugin, class Section>
void cOxWpPluginFile<Plugin, Section>::setProperty(const cOxWpPluginProperty& property) {
  for (cOxWpPluginProperty& held : properties_) {
    if (held.labelText == property.labelText &&
        held.record.identifier == property.record.identifier) {
      held = property;
      return;
    }
  }
  properties_.push_back(property);
}

template<class Plugin, class Section>
void cOxWpPluginFile<Plugin, Section>::popSection() {
  if (!sections_.empty())
    sections_.pop_back();
}
