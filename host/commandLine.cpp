#include "host/commandLine.h"

#include <algorithm>
#include <exception>
#include <functional>
#include <new>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/base/messages.h"
#include "host/commands/commands.h"

namespace host {

namespace {

// CLI11 gives some arguments a meaning of its own. A NUL at the end hides them from it.
std::string withMark(const std::string& argument) {
  const bool isHidden = argument.starts_with('[') || argument == "++" ||
                        (argument.starts_with("--") && argument.ends_with('='));
  return isHidden ? argument + '\0' : argument;
}

std::string withoutMark(const std::string& argument) {
  return argument.substr(0, argument.find('\0'));
}

class CommandLine {
public:
  CommandLine() : app_("Runs a waveform reader plug-in from the shell.", "ox-wp-host") {
    app_.set_version_flag("--version", "ox-wp-host " OX_WP_HOST_VERSION);
    app_.require_subcommand(1);
    addList();
    addExport();
    addPlot();
    addCheck();
    for (CLI::App* command : app_.get_subcommands({}))
      for (CLI::Option* option : command->get_options())
        option
            ->check([](const std::string& value) { return value.empty() ? "an empty value" : ""; })
            ->transform(withoutMark);
  }

  int run(std::vector<std::string> arguments) {
    if (arguments.empty())
      arguments = {"--help"};
    const std::string first = arguments[0];
    std::reverse(arguments.begin(), arguments.end()); // CLI11 takes the last first
    std::transform(arguments.begin(), arguments.end(), arguments.begin(), withMark);
    try {
      throwIfNoSubcommand(first);
      app_.parse(std::move(arguments));
      return run_();
    } catch (const CLI::ParseError& error) {
      return show(error);
    }
  }

private:
  void throwIfNoSubcommand(const std::string& first) const {
    if (first == "-h" || first == "--help" || first == "--version")
      return;
    if (first.starts_with('-'))
      throw CLI::ValidationError(first, "a subcommand comes first, as in ox-wp-host list FILE");
    std::vector<std::string> names;
    for (const CLI::App* command : app_.get_subcommands({}))
      names.push_back(command->get_name());
    if (std::find(names.begin(), names.end(), first) == names.end())
      throw CLI::ValidationError(
          fmt::format("no subcommand {}; there are {}", first, fmt::join(names, ", ")));
  }

  int runWithPlugin(int (*subcommand)(const Plugin&, const Request&)) const {
    const Library library(request_.plugin.empty() ? defaultPluginPath() : request_.plugin);
    return subcommand(Plugin(library), request_);
  }

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
    if (error.get_name() == "ArgumentMismatch") // CLI11's message names types
      reason = reason.substr(0, reason.find(':')) + " takes one value";
    for (const std::string& argument : app_.remaining(true))
      if (argument.size() > 1 && argument[0] == '-' && argument != "--")
        reason = "unknown option " + withoutMark(argument);
    reportError(reason);
    std::string command = app_.get_name();
    for (const CLI::App* named : app_.get_subcommands())
      command += ' ' + named->get_name();
    reportError(command + " --help lists the options");
    return kWrongUse;
  }

  // What is wrong in the command line is found before `run` is called, which loads the plug-in.
  CLI::App* addCommand(const char* name, const char* about, const std::string& example,
                       std::function<int()> run) {
    CLI::App* command = app_.add_subcommand(name, about);
    command->callback([this, run = std::move(run)] { run_ = run; });
    command->footer("Example:\n  ox-wp-host " + example);
    return command;
  }

  void addPatterns(CLI::App* command, const char* name, const char* about) {
    command->add_option(name, request_.patterns, about)
        ->option_text("GLOB")
        ->allow_extra_args(false);
  }

  // What all subcommands have that read files with a plug-in.
  void addInput(CLI::App* command, const char* about) {
    command->add_option("FILE", request_.files, about)->type_name("")->required();
    addPatterns(command, "--stream",
                "Only streams whose name matches this pattern; can be given again");
    command
        ->add_option("--plugin", request_.plugin,
                     "The plug-in; default: $OX_WP_PLUGIN, or else the one that comes with this "
                     "program")
        ->type_name("PATH");
  }

  CLI::Option* addOutputOption(CLI::App* command, const char* about) {
    return command->add_option("-o,--output", request_.output, about)
        ->type_name("OUT")
        ->default_str(kStandardOutput);
  }

  // The first format is the default.
  void addFormatOption(CLI::App* command, const std::vector<std::string>& formats) {
    command->preparse_callback([=, this](std::size_t) { request_.format = formats[0]; });
    command->add_option("--format", request_.format, "Format of the output")
        ->check(CLI::IsMember(formats))
        ->type_name("NAME")
        ->default_str(formats[0]);
  }

  void addList() {
    CLI::App* command =
        addCommand("list", "Shows the streams of files", "list --format json station.mseed",
                   [this] { return runWithPlugin(list); });
    addInput(command, "Data files");
    command->add_flag("--samples", request_.samples,
                      "Copies the samples too, which reads the whole file for each stream");
    addFormatOption(command, {"table", "json", "csv"});
  }

  void addExport() {
    CLI::App* command = addCommand(
        "export", "Writes samples as CSV (stream,time_s,value) or as little-endian doubles (f64)",
        "export --stream 'GR_*_BHZ' station.mseed -o station.csv",
        [this] { return runWithPlugin(exportSamples); });
    addInput(command, "Data file");
    command->get_option("FILE")->expected(1);
    CLI::Option* output = addOutputOption(command, "The file to write; - is standard output");
    command
        ->add_option("--split", request_.folder,
                     "Writes a file for each stream into this folder, named after the stream")
        ->type_name("DIR")
        ->excludes(output);
    addFormatOption(command, {"csv", "f64"});
  }

  void addPlot() {
    CLI::App* command = addCommand("plot", "Draws waveforms with gnuplot",
                                   "plot station.mseed -o station.png --from 30 --to 90", [this] {
                                     if (!(request_.window.from < request_.window.to)) // nor NaN
                                       throw CLI::ValidationError("--from must be less than --to");
                                     return runWithPlugin(plot);
                                   });
    addInput(command, "Data files");
    addOutputOption(command, "A file named *.svg or *.png; - is standard output, in characters")
        ->check([](const std::string& name) {
          return name == kStandardOutput || isPictureName(name)
                     ? ""
                     : name + " is named neither *.svg nor *.png";
        });
    command->add_option("--from", request_.window.from, "Seconds after the start of the axis")
        ->type_name("SECONDS");
    command->add_option("--to", request_.window.to, "Seconds after the start of the axis")
        ->type_name("SECONDS");
  }

  void addCheck() {
    CLI::App* command =
        addCommand("check", "Checks whether a plug-in keeps the rules of the boundary",
                   "check ./ox_wp_plugin_geo.so station.mseed", [this] { return check(request_); });
    command->add_option("PLUGIN", request_.plugin, "The library")->type_name("")->required();
    command->add_option("FILE", request_.files, "Data files that it reads")->type_name("");
    addPatterns(command, "--rule",
                "Only rules whose name matches this pattern; can be given again");
    command
        ->add_option("--time-limit", request_.timeLimit, "Seconds that a rule may take on a file")
        ->check([](const std::string& value) {
          return CLI::Range(1, 86400)(value).empty()
                     ? ""
                     : value + " is no whole number from 1 to 86400";
        })
        ->type_name("SECONDS")
        ->capture_default_str();
  }

  CLI::App app_;
  Request request_;
  std::function<int()> run_; // the subcommand that is named
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
