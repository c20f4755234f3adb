// The generic plug-in object: its parsed files, its self-description and its queue of messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "plugin/ox_wp_plugin.h"

// `File` is the record of one parsed file. Files are elements of a list and never move: the address
// of a file is its handle until the file is removed.
template<class File>
class cOxWpPlugin {
public:
  cOxWpPlugin() = default;
  cOxWpPlugin(const cOxWpPlugin&) = delete;
  cOxWpPlugin& operator=(const cOxWpPlugin&) = delete;

  void setPluginName(const std::string& name) { pluginName_ = name; }
  const std::string& pluginName() const noexcept { return pluginName_; }
  void setPluginVersion(const std::string& version) { pluginVersion_ = version; }

  void setErrorMessage(const std::string& message) { errorMessage_ = message; }
  const std::string& errorMessage() const noexcept { return errorMessage_; }
  const char* getErrorMessage() const noexcept { return errorMessage_.c_str(); }

  // Duplicates are kept.
  void registerFileExtension(const std::string& pattern) { fileExtensions_.push_back(pattern); }
  void registerExporter(const std::string& name) { exporters_.push_back(name); }

  std::list<File>& files() noexcept { return files_; }

  // Parses nothing. A plug-in that reads files declares its own parseFile.
  File* parseFile(const char* /*path*/) { return nullptr; }

  // Returns the oldest file with exactly this name; null if there is none.
  File* findFile(const std::string& name);
  File* findFile(const char* name) { return name ? findFile(std::string(name)) : nullptr; }

  void popFile();

  // Removes the file at this address and returns 0; returns 1 if the plug-in has no such file.
  int releaseFile(const File* file);

  // Removes all files. Always returns 0.
  int releaseAllFiles() noexcept;

  // Reads property number `index` of the sequence that the host walks: extensions, exporters, name,
  // version, queued messages. An empty name or version takes no place in the sequence. An index
  // past the end clears the queue. The identifier is 0 for a negative index and past the end. Does
  // nothing when `property` is null.
  void getPluginProperty(int index, _ox_wp_prop_type* property);

  void queueErrorMessage(int code, const std::string& message) {
    errorQueue_.emplace_back(code, message);
  }

private:
  std::vector<std::string> fileExtensions_;
  std::vector<std::string> exporters_;
  std::string errorMessage_;
  std::string pluginName_;
  std::string pluginVersion_;
  std::vector<std::pair<std::int32_t, std::string>> errorQueue_; // oldest first
  std::list<File> files_;                                        // in the order of parsing
};

template<class File>
File* cOxWpPlugin<File>::findFile(const std::string& name) {
  for (File& file : files_)
    if (file.fileName() == name)
      return &file;
  return nullptr;
}

template<class File>
void cOxWpPlugin<File>::popFile() {
  if (!files_.empty())
    files_.pop_back();
}

template<class File>
int cOxWpPlugin<File>::releaseFile(const File* file) {
  for (auto i = files_.begin(); i != files_.end(); ++i) {
    if (&*i == file) {
      files_.erase(i);
      return 0;
    }
  }
  return 1;
}

template<class File>
int cOxWpPlugin<File>::releaseAllFiles() noexcept {
  files_.clear();
  return 0;
}

template<class File>
void cOxWpPlugin<File>::getPluginProperty(int index, _ox_wp_prop_type* property) {
  if (!property)
    return;
  property->identifier = ox_wp_prop_none;
  if (index < 0)
    return;

  const auto deliver = [property](std::int32_t identifier, const std::string& value) {
    property->identifier = identifier;
    property->type = ox_wp_type_string;
    property->string_value = value.c_str();
  };

  auto left = static_cast<std::size_t>(index); // counts down as the groups are passed
  if (left < fileExtensions_.size())
    return deliver(ox_wp_prop_file_extension, fileExtensions_[left]);
  left -= fileExtensions_.size();

  if (left < exporters_.size())
    return deliver(ox_wp_prop_exporter, exporters_[left]);
  left -= exporters_.size();

  if (!pluginName_.empty()) {
    if (left == 0)
      return deliver(ox_wp_prop_plugin_name, pluginName_);
    --left;
  }
  if (!pluginVersion_.empty()) {
    if (left == 0)
      return deliver(ox_wp_prop_plugin_version, pluginVersion_);
    --left;
  }

  if (left >= errorQueue_.size()) {
    errorQueue_.clear(); // the walk is over: every message has been delivered once
    return;
  }
  const auto& [code, message] = errorQueue_[left];
  deliver(ox_wp_prop_error_message, message);
  property->type = ox_wp_type_message;
  property->integer_value = code;
}
