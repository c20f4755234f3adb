// The plug-in object of the framework: its files, its self-description and its message queue.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "plugin/ox_wp_plugin.h"

// `File` is the record of one parsed file. Files are held by value and never move: a file's address
// is its handle until the file is removed.
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

  // A plug-in that reads anything declares its own.
  File* parseFile(const char* /*path*/) { return nullptr; }

  // The oldest file of exactly this name; null if there is none.
  File* findFile(const std::string& name);
  File* findFile(const char* name) { return name ? findFile(std::string(name)) : nullptr; }

  // Removes the last file, if any.
  void popFile();

  // Removes the file at that address: 0, or 1 when it is none of this plug-in's files.
  int releaseFile(const File* file);

  // Always 0.
  int releaseAllFiles() noexcept;

  // Answers property number `index` of the sequence that the host walks: extensions, exporters,
  // name, version, queued messages. Asking past the end clears the queue. A negative index gives
  // identifier 0 and nothing else; a null record, nothing.
  void getPluginProperty(int index, _ox_wp_prop_type* property);

  void queueErrorMessage(int code, const std::string& text) {
    errorQueue_.emplace_back(code, text);
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

  const auto answer = [property](std::int32_t identifier, const std::string& text) {
    property->identifier = identifier;
    property->type = ox_wp_type_string;
    property->string_value = text.c_str();
  };

  // `left` counts down through the groups of the sequence.
  auto left = static_cast<std::size_t>(index);
  for (const auto& [identifier, texts] : {std::pair{ox_wp_prop_file_extension, &fileExtensions_},
                                          std::pair{ox_wp_prop_exporter, &exporters_}}) {
    if (left < texts->size())
      return answer(identifier, (*texts)[left]);
    left -= texts->size();
  }
  for (const auto& [identifier, text] : {std::pair{ox_wp_prop_plugin_name, &pluginName_},
                                         std::pair{ox_wp_prop_plugin_version, &pluginVersion_}}) {
    if (text->empty())
      continue; // takes no place in the sequence
    if (left == 0)
      return answer(identifier, *text);
    --left;
  }

  if (left >= errorQueue_.size()) {
    errorQueue_.clear(); // the walk is over: every message has been delivered once
    return;
  }
  const auto& [code, text] = errorQueue_[left];
  answer(ox_wp_prop_error_message, text);
  property->type = ox_wp_type_message;
  property->integer_value = code;
}
