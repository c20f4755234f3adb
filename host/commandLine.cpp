#include "host/commandLine.h"

#include <algorithm>
#include <exception>
#include <map>
#include <new>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include "host/base/error.h"
#include "host/base/output.h"
#include "host/commands/commands.h"
#include "host/drawing/drawing.h"

namespace host {

namespace {

constexpr const char* kAbout =
    "Runs a waveform reader plug-in from the shell.\n"
    "If the first argument is not a subcommand, list is assumed. A file that is named like a\n"
    "subcommand is written ./list, or after the subcommand: list list.";

// About start times, for the help of what shows or writes them.
constexpr const char* kStartTimes =
    "\nA start time is the low 32 bits of the microseconds since 1970, in seconds: it repeats\n"
    "every 71.6 minutes (4294.967296 s), so different times can show the same one.";

bool isWord(const std::string& text) {
  return !text.empty() &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

class CommandLine {
public:
  CommandLine() : app_(kAbout, "ox-wp-host") {
    app_.set_version_flag("--version", OX_WP_HOST_VERSION);
    app_.require_subcommand(1);
    addList();
    addExport();
    addPlot();
    addWatch();
    addCheck();
  }

  int run(std::vector<std::string> arguments) {
    if (arguments.empty())
      arguments = {"--help"};
    const std::string first = arguments.front();
    const bool isDefault = wantsDefault(first);
    if (isDefault)
      arguments.insert(arguments.begin(), "list");
    std::reverse(arguments.begin(), arguments.end()); // CLI11 takes the last first
    try {
      app_.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
      return show(error);
    }
    if (isDefault && isWord(first) && access(first.c_str(), F_OK) != 0)
      reportError("nor is there a subcommand " + first + "; ox-wp-host --help lists them");
    return status_;
  }

private:
  // Help goes to standard output, where a failure to write it is an error. Messages go to standard
  // error. An unknown option is reported before anything that is missing.
  int show(const CLI::ParseError& error) {
    std::ostringstream help;
    std::ostringstream message;
    if (app_.exit(error, help, message) == 0) {
      Output output(kStandardOutput);
      output.write(help.str());
      output.commit();
      return kSuccess;
    }
    const std::string unknown = unknownOption();
    reportError(unknown.empty() ? error.what() : "unknown option " + unknown);
    std::string command = app_.get_name();
    for (const CLI::App* named : app_.get_subcommands())
      command += ' ' + named->get_name();
    reportError(command + " --help lists the options");
    return kWrongUse;
  }

  std::string unknownOption() const {
    for (const CLI::App* command : app_.get_subcommands())
      for (const std::string& argument : command->remaining())
        if (argument.size() > 1 && argument[0] == '-')
          return argument;
    return {};
  }

  bool wantsDefault(const std::string& first) const {
    if (first == "-h" || first == "--help" || first == "--version")
      return false;
    return app_
        .get_subcommands([&](const CLI::App* command) { return command->get_name() == first; })
        .empty();
  }

  CLI::App* addCommand(const char* name, const char* about, const char* example,
                       const std::string& notes) {
    CLI::App* command = app_.add_subcommand(name, about);
    command->footer(fmt::format("Example:\n  {}\n{}", example, notes));
    return command;
  }

  // Runs `action` with a plug-in once the line is parsed; its result is the exit status.
  template<class Action>
  void onPlugin(CLI::App* command, Action action) {
    command
        ->add_option("--plugin", pluginPath_,
                     "The plug-in; default: the one that comes with this program")
        ->type_name("PATH");
    command->callback([this, action] {
      const Library library(pluginPath_.empty() ? defaultPluginPath() : pluginPath_);
      const Plugin plugin(library);
      status_ = action(plugin);
    });
  }

  template<class Files>
  static void addInput(CLI::App* command, Files& files, std::vector<std::string>& streams) {
    command->add_option("FILE", files, "Data file")->required()->type_name("");
    command
        ->add_option("--stream", streams,
                     "Only streams whose name matches this pattern; can be given again")
        ->option_text("GLOB")
        ->allow_extra_args(false);
  }

  static CLI::Option* addOutputOption(CLI::App* command, std::string& output, const char* about) {
    return command->add_option("-o,--output", output, about)
        ->type_name("OUT")
        ->default_str(kStandardOutput);
  }

  // The default is the value that `format` has.
  template<class Format>
  void addFormatOption(CLI::App* command, Format& format,
                       const std::map<std::string, Format>& formats) {
    CLI::Option* option =
        command
            ->add_option_function<std::string>(
                "--format",
                [&format, formats](const std::string& name) { format = formats.at(name); },
                "Format of the output")
            ->check(CLI::IsMember(formats))
            ->type_name("NAME");
    for (const auto& [name, value] : formats)
      if (value == format)
        option->default_str(name);
  }

  void addList() {
    CLI::App* command = addCommand("list", "Shows the streams of files (the default)",
                                   "ox-wp-host list --format json station.mseed",
                                   "Shows what the headers say. With --samples each stream is "
                                   "copied as well,\nand each copy reads the whole file." +
                                       std::string(kStartTimes));
    addInput(command, list_.files, list_.streams);
    command->add_flag("--samples", list_.samples,
                      "Copies the samples; adds how many were found, the first and the last");
    const std::map<std::string, ListFormat> formats = {
        {"table", ListFormat::table}, {"json", ListFormat::json}, {"csv", ListFormat::csv}};
    addFormatOption(command, list_.format, formats);
    onPlugin(command, [this](const Plugin& plugin) { return list(plugin, list_); });
  }

  void addExport() {
    CLI::App* command = addCommand(
        "export", "Writes samples as CSV or as raw doubles",
        "ox-wp-host export --stream 'GR_*_BHZ' station.mseed -o station.csv",
        "csv has two columns for each stream, time and value. f64 is little-endian doubles, the\n"
        "values only, one stream after the other in the order of list. Gaps are not filled: "
        "behind\n"
        "a gap the times are nominal, start + number of the sample * interval." +
            std::string(kStartTimes));
    addInput(command, export_.file, export_.streams);
    CLI::Option* output =
        addOutputOption(command, export_.output, "The file to write; - is standard output");
    command
        ->add_option("--split", export_.folder,
                     "Writes a file for each stream into this folder, named after the stream")
        ->type_name("DIR")
        ->excludes(output);
    const std::map<std::string, ExportFormat> formats = {{"csv", ExportFormat::csv},
                                                         {"f64", ExportFormat::f64}};
    addFormatOption(command, export_.format, formats);
    onPlugin(command, [this](const Plugin& plugin) { return exportSamples(plugin, export_); });
  }

  void addPlot() {
    CLI::App* command = addCommand(
        "plot", "Draws waveforms with gnuplot",
        "ox-wp-host plot station.mseed -o station.png --from 30 --to 90",
        "Time counts from the first sample. The streams of a file share one time axis\n"
        "where their start times allow it. Start times that all fit 32 bits of microseconds\n"
        "are taken to repeat every 71.6 minutes (4294.967296 s), as those of the plug-in\n"
        "that comes with this program do.");
    addInput(command, plot_.files, plot_.streams);
    addOutputOption(command, plot_.output,
                    "A file named *.svg or *.png; - is standard output, in characters")
        ->check([](const std::string& name) {
          return name == kStandardOutput || isPictureName(name)
                     ? ""
                     : name + " is named neither *.svg nor *.png";
        });
    command
        ->add_option("--from", plot_.window.from,
                     "Seconds after the first sample; default: from the first on")
        ->type_name("SECONDS");
    command
        ->add_option("--to", plot_.window.to,
                     "Seconds after the first sample; default: to the last")
        ->type_name("SECONDS");
    onPlugin(command, [this](const Plugin& plugin) {
      if (!(plot_.window.from < plot_.window.to))
        throw CLI::ValidationError("--from must be less than --to");
      return plot(plugin, plot_);
    });
  }

  void addWatch() {
    CLI::App* command = addCommand(
        "watch", "Shows a file, and again whenever it changes, until Ctrl-C",
        "ox-wp-host watch --interval 0.5 growing.mseed",
        "On a terminal the waveforms are drawn below the table, as many as have room. How a\n"
        "change is seen is the plug-in's: the one that comes with this program looks at size\n"
        "and at modification time in whole seconds.");
    addInput(command, watch_.file, watch_.streams);
    command
        ->add_option_function<double>(
            "--interval",
            [this](const double& seconds) {
              watch_.interval = std::chrono::duration<double>(seconds);
            },
            "Seconds between two readings of the change flag, 0.01 to 86400")
        ->type_name("SECONDS")
        ->default_str(fmt::format("{}", watch_.interval.count()));
    onPlugin(command, [this](const Plugin& plugin) {
      const double seconds = watch_.interval.count();
      if (!(seconds >= 0.01 && seconds <= 86400)) // nor NaN
        throw CLI::ValidationError("--interval must be 0.01 to 86400 seconds");
      return watch(plugin, watch_);
    });
  }

  void addCheck() {
    CLI::App* command = addCommand(
        "check", "Checks whether a plug-in keeps the rules of the boundary",
        "ox-wp-host check ./ox_wp_plugin_geo.so station.mseed",
        "The rules are those that any plug-in must keep. Copies are tried on the first streams\n"
        "of a file. Rules that need a file are skipped without one. After three rules hung, the\n"
        "others are skipped.");
    command->add_option("PLUGIN", check_.plugin, "The library; required without --list")
        ->type_name("");
    command->add_option("FILE", check_.files, "Data files that it reads")->type_name("");
    command->add_flag("--list", check_.listOnly, "Shows the names of the rules and runs none");
    command
        ->add_option("--rule", check_.rules,
                     "Only rules whose name matches this pattern; can be given again")
        ->option_text("GLOB")
        ->allow_extra_args(false);
    command
        ->add_option_function<unsigned>(
            "--time-limit",
            [this](const unsigned& seconds) { check_.timeLimit = std::chrono::seconds(seconds); },
            "Seconds that a rule may take on a file")
        ->check(CLI::Range(1, 86400))
        ->type_name("SECONDS")
        ->default_str(std::to_string(check_.timeLimit.count()));
    command->callback([this] {
      if (check_.plugin.empty() && !check_.listOnly)
        throw CLI::RequiredError("PLUGIN");
      status_ = check(check_);
    });
  }

  CLI::App app_;
  std::string pluginPath_;
  ListRequest list_;
  ExportRequest export_;
  PlotRequest plot_;
  WatchRequest watch_;
  CheckRequest check_;
  int status_ = kSuccess;
};

} // namespace

int runCommandLine(std::vector<std::string> arguments) {
  try {
    return CommandLine().run(std::move(arguments));
  } catch (const std::bad_alloc&) {
    reportError("not enough memory");
  } catch (const std::exception& error) {
    reportError(error.what());
  }
  return kFailure;
}

} // namespace host
