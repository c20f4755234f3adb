// loader: what stands between a viewer's window and its plug-ins. A worker thread makes all calls.
// Each open file has a plug-in object of its own, so that it can be closed alone. main stands for
// the window: it prints name, number, first and last of the samples of each stream that arrives.
//
//   eval "c++ -std=c++20 -pthread -o loader loader.cpp $(pkg-config --cflags ox-wp-plugin) -ldl"
//   plugins=$(pkg-config --variable=plugindir ox-wp-plugin)
//   eval "./loader $plugins/ox_wp_plugin_geo.so recording.mseed"
// In a source tree: c++ -std=c++20 -pthread -I../plugin -o loader loader.cpp -ldl
#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <exception>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <ox_wp_plugin.h>

struct Stream {
  ox_wp_section_handle section;
  int variable;
  std::string name;
};

// What the worker hands over: what is in a file, or the samples of one stream.
struct Arrival {
  std::vector<Stream> streams;
  std::vector<double> samples; // those that were found
  std::string problem;         // why there is no file, or why samples can be missing
  bool isOutdated = false;     // the file has changed since it was opened
};

struct OpenFile { // with a plug-in object of its own
  OpenFile(ox_wp_plugin_initialize_function initialize, const std::string& path, Arrival& to) {
    t.version = OX_WP_PLUGIN_VERSION;
    if (initialize(&t) != 0)
      throw std::runtime_error("the plug-in refuses the table");
    object = {t.plugin, t.release};
    file = t.parse_file(t.plugin, path.c_str());
    if (!file) // there may be messages too: streams.c shows how they are read
      throw std::runtime_error(std::string("not read. ") + t.get_error_message(t.plugin));
    for (int i = 0; void* section = t.get_section_handle(t.plugin, file, i); ++i)
      for (int v = 0; t.get_variable_property(t.plugin, file, section, v, 0, &p) == 0; ++v)
        to.streams.push_back({section, v, p.string_value}); // property 0 is the name
  }
  void copy(const Stream& s, Arrival& to) {
    t.get_variable_property(t.plugin, file, s.section, s.variable, ox_wp_index_sample_count, &p);
    const auto most = std::min(p.integer_value, 268'435'455L); // in one copy
    to.samples.assign(static_cast<std::size_t>(most), NAN);
    if (t.copy_variable_data(t.plugin, file, s.section, s.variable, ox_wp_type_double,
                             to.samples.data(), static_cast<int>(most * 8)) != 0)
      to.problem = s.name + " is not complete. " + t.get_error_message(t.plugin);
    while (!to.samples.empty() && std::isnan(to.samples.back()))
      to.samples.pop_back();
    t.get_file_property(t.plugin, file, ox_wp_index_file_changed, &p);
    to.isOutdated = isOutdated |= p.integer_value != 0; // kept: reading the flag resets it
  }
  _ox_wp_plugin_functions_type t = {};
  std::unique_ptr<void, void (*)(void*)> object = {nullptr, nullptr};
  ox_wp_file_handle file = nullptr;
  _ox_wp_prop_type p = {}; // the property that was read last
  bool isOutdated = false;
};

class Worker { // runs tasks one after the other on its thread
public:
  std::future<Arrival> add(const std::string& path, std::function<void(Arrival&)> run) {
    const std::lock_guard lock(mutex_);
    added_.notify_one();
    return tasks_.emplace_back(path, std::move(run), std::promise<Arrival>()).arrival.get_future();
  }
  void drop(const std::string& path) { // the tasks of a file that have not begun
    const std::lock_guard lock(mutex_);
    std::erase_if(tasks_, [&](const Task& task) { return task.path == path; });
  }

private: // the tasks are guarded by the mutex
  struct Task {
    std::string path;
    std::function<void(Arrival&)> run;
    std::promise<Arrival> arrival;
  };
  void runTasks(const std::stop_token& end) {
    while (!end.stop_requested()) {
      std::unique_lock lock(mutex_);
      if (!added_.wait(lock, end, [this] { return !tasks_.empty(); }))
        return;
      Task task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      Arrival arrival;
      try {
        task.run(arrival);
      } catch (const std::exception& failure) { // std::bad_alloc of a call too
        arrival.problem = failure.what();
      }
      task.arrival.set_value(std::move(arrival)); // a window gets an event here
    }
  }
  std::mutex mutex_;
  std::condition_variable_any added_;
  std::deque<Task> tasks_;
  // Its end drops what waits, but waits for the task that has begun: hide the window before.
  std::jthread thread_{[this](const std::stop_token& end) { runTasks(end); }};
};

int main(int argc, char** argv) {
  void* library = argc > 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
  void* entry = library ? dlsym(library, OX_WP_PLUGIN_ENTRY_POINT) : nullptr;
  if (!entry) {
    std::fprintf(stderr, "%s\n", argc > 2 ? dlerror() : "usage: loader PLUGIN FILE...");
    return 2;
  }
  const auto initialize = reinterpret_cast<ox_wp_plugin_initialize_function>(entry);
  std::map<std::string, OpenFile> files; // the worker's
  Worker worker;
  int status = 0;
  const auto show = [&](const std::string& path, const std::string& name, const Arrival& a) {
    if (!a.samples.empty())
      std::printf("%s %zu %g %g\n", name.c_str(), a.samples.size(), a.samples[0], a.samples.back());
    const std::string problem = a.isOutdated ? "has changed: open it again" : a.problem;
    if (!problem.empty())
      status = std::fprintf(stderr, "%s: %s\n", path.c_str(), problem.c_str()) > 0;
  };
  for (const std::string& path : std::vector<std::string>(argv + 2, argv + argc)) {
    const auto open = [&](Arrival& to) { // an older parse of the file stays until this succeeds
      files.insert_or_assign(path, OpenFile(initialize, path, to));
    };
    const Arrival opened = worker.add(path, open).get();
    show(path, "", opened);
    std::deque<std::future<Arrival>> copies;
    for (const Stream& s : opened.streams)
      copies.push_back(worker.add(path, [&, s](Arrival& to) { files.at(path).copy(s, to); }));
    for (std::size_t i = 0; i < copies.size(); ++i)
      show(path, opened.streams[i].name, copies[i].get());
    worker.drop(path); // for a window that closes a file while copies of it wait
    worker.add(path, [&](Arrival&) { files.erase(path); }).get();
  }
  return status;
}
