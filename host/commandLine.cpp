#include "host/commandLine.h"

#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/commands/commands.h"
#include "host/drawing/drawing.h"

namespace host {

namespace {

constexpr const char* kAbout =
    "Runs a waveform reader plug-in from the shell.\n"
    "The subcommand comes first; when the first argument is none of them, it is list. A file that "
    "is named like a subcommand is written ./list, or after the subcommand: list list.";

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
    if (wantsDefault(arguments))
      arguments.insert(arguments.begin(), "list");
    std::reverse(arguments.begin(), arguments.end()); // as CLI11 takes them
    try {
      app_.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
      return app_.exit(error) == 0 ? kSuccess : kWrongUse;
    }
    return status_;
  }

private:
  bool wantsDefault(const std::vector<std::string>& arguments) const {
    if (arguments.empty())
      return true; // list then asks for a file
    const std::string& first = arguments.front();
    if (first == "-h" || first == "--help" || first == "--version")
      return false;
    const auto commands = app_.get_subcommands([](const CLI::App*) { return true; });
    return std::none_of(commands.begin(), commands.end(),
                        [&](const CLI::App* command) { return command->get_name() == first; });
  }

  CLI::App* addCommand(const char* name, const char* about, const char* example) {
    CLI::App* command = app_.add_subcommand(name, about);
    command->footer(std::string("Example:\n  ") + example);
    return command;
  }

  void addPluginOption(CLI::App* command) {
    command
        ->add_option("--plugin", pluginPath_,
                     "The plug-in; else the one that comes with this program")
        ->type_name("PATH");
  }

  // Runs `action` with a plug-in once the line is parsed; its result is the exit status.
  template<class Action>
  void onPlugin(CLI::App* command, Action action) {
    addPluginOption(command);
    command->callback([this, action] {
      const Library library(pluginPath_.empty() ? defaultPluginPath() : pluginPath_);
      const Plugin plugin(library);
      status_ = action(plugin);
    });
  }

  // The file and the choice of streams that export and plot share.
  static void addFileOptions(CLI::App* command, std::string& file,
                             std::vector<std::string>& streams) {
    command->add_option("FILE", file, "Data file")->required()->type_name("");
    command
        ->add_option("--stream", streams,
                     "Only streams whose name matches this pattern; can be given again")
        ->type_name("GLOB")
        ->allow_extra_args(false);
  }

  static CLI::Option* addOutputOption(CLI::App* command, std::string& output, const char* about) {
    return command->add_option("-o,--output", output, about)->type_name("OUT");
  }

  template<class Format>
  void addFormatOption(CLI::App* command, Format& format,
                       const std::map<std::string, Format>& formats) {
    command
        ->add_option_function<std::string>(
            "--format", [&format, formats](const std::string& name) { format = formats.at(name); },
            "Shape of the output")
        ->check(CLI::IsMember(formats))
        ->type_name("NAME");
  }

  void addList() {
    CLI::App* command = addCommand("list", "Shows the streams of files (the default)",
                                   "ox-wp-host list --format json station.mseed");
    command->add_option("FILE", list_.files, "Data files")->required()->type_name("");
    const std::map<std::string, ListFormat> formats = {
        {"table", ListFormat::table}, {"json", ListFormat::json}, {"csv", ListFormat::csv}};
    addFormatOption(command, list_.format, formats);
    onPlugin(command, [this](const Plugin& plugin) { return list(plugin, list_); });
  }

  void addExport() {
    CLI::App* command =
        addCommand("export", "Writes samples as CSV or as raw doubles",
                   "ox-wp-host export --stream 'GR_*_BHZ' station.mseed -o station.csv\n"
                   "csv has two columns a stream, time and value. f64 is little-endian doubles, "
                   "the values only, one stream after the other in the order of list.");
    addFileOptions(command, export_.file, export_.streams);
    addOutputOption(command, export_.output, "The file to write; else standard output");
    const std::map<std::string, ExportFormat> formats = {{"csv", ExportFormat::csv},
                                                         {"f64", ExportFormat::f64}};
    addFormatOption(command, export_.format, formats);
    onPlugin(command, [this](const Plugin& plugin) { return exportSamples(plugin, export_); });
  }

  void addPlot() {
    CLI::App* command = addCommand("plot", "Draws waveforms with gnuplot",
                                   "ox-wp-host plot station.mseed -o station.png");
    addFileOptions(command, plot_.file, plot_.streams);
    addOutputOption(command, plot_.output, "A file named *.svg or *.png; else the terminal")
        ->check([](const std::string& name) {
          return isPictureName(name) ? "" : name + " is named neither *.svg nor *.png";
        });
    onPlugin(command, [this](const Plugin& plugin) { return plot(plugin, plot_); });
  }

  void addWatch() {
    CLI::App* command =
        addCommand("watch", "Shows a file, and again whenever it changes, until Ctrl-C",
                   "ox-wp-host watch --interval 0.5 growing.mseed\n"
                   "Changes are seen by size and by modification time in whole seconds.");
    command->add_option("FILE", watch_.file, "Data file")->required()->type_name("");
    command
        ->add_option_function<double>(
            "--interval",
            [this](const double& seconds) {
              watch_.interval = std::chrono::duration<double>(seconds);
            },
            "Seconds between two looks")
        ->check(CLI::Range(0.01, 86400.0))
        ->type_name("SECONDS")
        ->default_str(fmt::format("{}", watch_.interval.count()));
    onPlugin(command, [this](const Plugin& plugin) { return watch(plugin, watch_); });
  }

  void addCheck() {
    CLI::App* command = addCommand(
        "check", "Holds any plug-in to the rules of the boundary",
        "ox-wp-host check ./ox_wp_plugin_geo.so station.mseed\n"
        "Copies are tried on the first streams of a file. Rules that need a file are skipped "
        "without one.");
    command->add_option("PLUGIN", check_.plugin, "The library")->required()->type_name("");
    command->add_option("FILE", check_.files, "Data files that it reads")->type_name("");
    command
        ->add_option_function<unsigned>(
            "--time-limit",
            [this](const unsigned& seconds) { check_.timeLimit = std::chrono::seconds(seconds); },
            "Seconds that a rule may take on a file")
        ->check(CLI::PositiveNumber)
        ->type_name("SECONDS")
        ->default_str(std::to_string(check_.timeLimit.count()));
    command->callback([this] { status_ = check(check_); });
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
  return CommandLine().run(std::move(arguments));
}

} // namespace host
