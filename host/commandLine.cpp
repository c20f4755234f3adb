#include "host/commandLine.h"

#include <algorithm>
#include <chrono>
#include <exception>
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
    "\nTimes are in seconds, as the plug-in reports them. A start time of ox_wp_plugin_geo is the\n"
    "low 32 bits of the microseconds since 1970: it repeats every 71.6 minutes (4294.967296 s),\n"
    "so different times can show the same one.";

// A validator for paths.
std::string expectNotEmpty(const std::string& path) {
  return path.empty() ? "an empty name" : "";
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
    for (CLI::App* command : app_.get_subcommands({}))
      for (CLI::Option* option : command->get_options())
        option->transform([](const std::string& value) {
          return std::string(value.c_str()); // NOLINT(readability-redundant-string-cstr): see run()
        });
  }

  int run(std::vector<std::string> arguments) {
    if (arguments.empty())
      arguments = {"--help"};
    const std::string& first = arguments.front();
    assumesList_ =
        !isSubcommand(first) && first != "-h" && first != "--help" && first != "--version";
    if (assumesList_)
      arguments.insert(arguments.begin(), "list");
    // CLI11 takes an argument in brackets for a list, unless something is behind the brackets: this
    // byte, which ends every option's value.
    for (std::string& argument : arguments)
      if (argument.starts_with('['))
        argument += '\0';
    std::reverse(arguments.begin(), arguments.end()); // CLI11 takes the last first
    try {
      app_.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
      return show(error);
    }
    if (assumesList_ && status_ != kSuccess && access(list_.files[0].c_str(), F_OK) != 0)
      reportError(list_.files[0] + " is neither a file nor a subcommand; ox-wp-host --help lists "
                                   "the subcommands");
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
    std::string reason = error.what();
    for (const std::string& argument : app_.remaining(true))
      if (argument.size() > 1 && argument[0] == '-')
        reason = "unknown option " + argument;
    reportError(reason);
    std::string command = app_.get_name();
    for (const CLI::App* named : app_.get_subcommands())
      command += ' ' + named->get_name();
    reportError(command + " --help lists the options");
    return kWrongUse;
  }

  bool isSubcommand(const std::string& name) const {
    const auto isNamed = [&](const CLI::App* command) { return command->get_name() == name; };
    return !app_.get_subcommands(isNamed).empty();
  }

  CLI::App* addCommand(const char* name, const char* about, const char* example,
                       const std::string& notes) {
    CLI::App* command = app_.add_subcommand(name, about);
    command->footer(fmt::format("Example:\n  {}\n{}", example, notes));
    return command;
  }

  void addPluginOption(CLI::App* command) {
    command
        ->add_option("--plugin", pluginPath_,
                     "The plug-in; default: the one that comes with this program")
        ->check(expectNotEmpty)
        ->type_name("PATH");
  }

  // Loads the plug-in. What is wrong in the command line is found before.
  template<class Request>
  void run(int (*subcommand)(const Plugin&, const Request&), const Request& request) {
    const Library library(pluginPath_.empty() ? defaultPluginPath() : pluginPath_);
    const Plugin plugin(library);
    status_ = subcommand(plugin, request);
  }

  template<class Files>
  static CLI::Option* addFiles(CLI::App* command, Files& files, const char* about) {
    return command->add_option("FILE", files, about)->check(expectNotEmpty)->type_name("");
  }

  template<class Files>
  static void addInput(CLI::App* command, Files& files, std::vector<std::string>& streams) {
    addFiles(command, files, "Data file")->required();
    command
        ->add_option("--stream", streams,
                     "Only streams whose name matches this pattern; can be given again")
        ->option_text("GLOB")
        ->allow_extra_args(false);
  }

  static CLI::Option* addOutputOption(CLI::App* command, std::string& output, const char* about) {
    return command->add_option("-o,--output", output, about)
        ->check(expectNotEmpty)
        ->type_name("OUT")
        ->default_str(kStandardOutput);
  }

  static void addFormatOption(CLI::App* command, std::string& format,
                              const std::vector<std::string>& formats) {
    command->add_option("--format", format, "Format of the output")
        ->check(CLI::IsMember(formats))
        ->type_name("NAME")
        ->capture_default_str();
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
    addFormatOption(command, list_.format, {"table", "json", "csv"});
    addPluginOption(command);
    command->callback([this] {
      for (const std::string& file : list_.files)
        if (assumesList_ && isSubcommand(file))
          throw CLI::ValidationError(
              file, "a subcommand comes first; a file of this name is written ./" + file);
      run(list, list_);
    });
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
        ->check(expectNotEmpty)
        ->type_name("DIR")
        ->excludes(output);
    addFormatOption(command, export_.format, {"csv", "f64"});
    addPluginOption(command);
    command->callback([this] { run(exportSamples, export_); });
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
    addPluginOption(command);
    command->callback([this] {
      if (!(plot_.window.from < plot_.window.to)) // nor NaN
        throw CLI::ValidationError("--from must be less than --to");
      run(plot, plot_);
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
              if (!(seconds >= 0.01 && seconds <= 86400)) // nor NaN
                throw CLI::ValidationError("--interval must be 0.01 to 86400 seconds");
              watch_.interval = std::chrono::duration<double>(seconds);
            },
            "Seconds between two readings of the change flag, 0.01 to 86400")
        ->type_name("SECONDS")
        ->default_str(fmt::format("{}", watch_.interval.count()));
    addPluginOption(command);
    command->callback([this] { run(watch, watch_); });
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
    addFiles(command, check_.files, "Data files that it reads");
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
  bool assumesList_ = false; // no subcommand is named
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
