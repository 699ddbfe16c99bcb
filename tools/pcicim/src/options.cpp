#include "options.h"

#include <client/server_url.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <sstream>

#include "exit_code.h"
#include "function_filter.h"
#include "suggestion.h"

#include "configuration_file.h"

namespace pcicim {
namespace {

bool holds(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

class CommandLine {
 public:
  CommandLine() {
    app_.name("pcicim");
    app_.set_version_flag("--version", "pcicim " PCICIM_VERSION);
    app_.require_subcommand(0, 1);
    app_.fallthrough();
    addGeneralOptions();
    addRemoteOptions();
    addClassCommands();
    addPathCommands();
    addPicture();
    addChanges();
    addServe();
    addHelp();
    app_.footer(
        "PATH is CLASS.KEY=\"VALUE\",KEY=\"VALUE\"..., with NAMESPACE: in front if you like. Keys\n"
        "that the provider does not need may be left out: Zelmar_PCIPort.DeviceID=\"...\"");
  }

  Parsed parse(int count, const char* const* words) {
    Parsed result;
    try {
      app_.parse(count, words);
      // Checked here, so that a word that is no subcommand is named in the complaint.
      if (app_.get_subcommands().empty()) {
        throw CLI::RequiredError("A subcommand");
      }
      if (options_.command == Command::kGet && getPath_->count() == 0 && options_.address.empty() &&
          !help_->parsed()) {
        throw CLI::RequiredError("PATH, or -s ADDRESS,");
      }
      if (help_->parsed()) {
        answerHelp(result);
      }
      checkRemote();
      if (!configuration_.empty()) ConfigurationFile(configuration_).apply({serve_, &app_});
    } catch (const ConfigurationError& error) {
      result.done = true;
      result.exitCode = kWrongUse;
      result.complaints = {error.what()};
    } catch (const CLI::ParseError& error) {
      refuse(error, result);
    }
    result.options = options_;
    return result;
  }

 private:
  /// Help and the version come as errors, too.
  void refuse(const CLI::ParseError& error, Parsed& result) {
    result.done = true;
    std::ostringstream answer;
    std::ostringstream ignored;
    if (app_.exit(error, answer, ignored) == 0) {
      result.answer = answer.str();
      return;
    }
    result.exitCode = kWrongUse;
    const bool isUnknownWord = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    result.complaints = {isUnknownWord ? unknownWord() : error.what(), whereHelpIs()};
  }

  std::string unknownWord() const {
    const std::vector<std::string> words = app_.remaining(true);
    const std::string word = words.empty() ? "" : words.front();
    if (word.substr(0, 1) == "-") {
      for (const CLI::App* command : app_.get_subcommands()) {
        if (command->get_option_no_throw(word) != nullptr) {
          return word + " belongs behind " + command->get_name();
        }
      }
      return "there is no option " + word + suggestion(word, optionNames());
    }
    if (app_.get_subcommands().empty()) {
      return "there is no subcommand " + word + suggestion(word, commandNames());
    }
    return "unexpected word " + word;
  }

  std::string whereHelpIs() const {
    const std::vector<CLI::App*> chosen = app_.get_subcommands();
    const std::string command = chosen.empty() ? "" : chosen.front()->get_name() + ' ';
    return "\"pcicim " + command + "--help\" says what can be asked";
  }

  std::vector<std::string> commandNames() const {
    std::vector<std::string> names;
    for (const CLI::App* command : app_.get_subcommands([](const CLI::App*) { return true; })) {
      names.push_back(command->get_name());
    }
    return names;
  }

  /// Of the chosen command, and those of all.
  std::vector<std::string> optionNames() const {
    std::vector<std::string> names;
    std::vector<const CLI::App*> apps{&app_};
    for (const CLI::App* command : app_.get_subcommands()) {
      apps.push_back(command);
    }
    for (const CLI::App* app : apps) {
      for (const CLI::Option* option : app->get_options()) {
        for (const std::string& name : option->get_lnames()) {
          names.push_back("--" + name);
        }
      }
    }
    return names;
  }

  void addHelp() {
    help_ = app_.add_subcommand("help", "Say what can be asked, or how one command is used");
    help_->add_option("COMMAND", helpTopic_, "The command to tell about");
  }

  void answerHelp(Parsed& result) {
    result.done = true;
    if (helpTopic_.empty()) {
      // One that has read nothing yet: this one's help is that of the command that was chosen.
      result.answer = CommandLine().app_.help();
    } else if (holds(commandNames(), helpTopic_)) {
      result.answer = app_.get_subcommand(helpTopic_)->help("pcicim");
    } else {
      result.exitCode = kWrongUse;
      result.complaints = {
          "there is no subcommand " + helpTopic_ + suggestion(helpTopic_, commandNames()),
          "\"pcicim help\" names them"};
    }
  }

  void addGeneralOptions() {
    app_.add_option("--inventory", options_.inventory,
                    "A saved inventory (lspci -D -xxxx) to show instead of this host; - is\n"
                    "standard input")
        ->type_name("FILE")
        ->check([](const std::string& name) {
          return name.empty() ? "needs the name of a file, or -" : "";
        });
    app_.add_option("--host-name", options_.hostName, "The host's name")->type_name("NAME");
    app_.add_option("--provider", options_.providers,
                    "A provider library to load instead of the project's own; may be repeated")
        ->type_name("LIBRARY")
        ->allow_extra_args(false);
    app_.add_option("--schema", options_.schema, "Directory with the classes in MOF")
        ->type_name("DIR");
    app_.add_flag("--verbose", options_.verbose, "Show the providers' tracing too");
    addColours();
  }

  void addColours() {
    static const std::map<std::string, Colours> kChoices{
        {"auto", Colours::kAuto}, {"always", Colours::kAlways}, {"never", Colours::kNever}};
    app_.add_option_function<std::string>(
            "--color", [this](const std::string& when) { options_.colours = kChoices.at(when); },
            "Colour the text: auto (on a terminal, unless NO_COLOR is set), always, never")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->type_name("WHEN");
  }

  void addRemoteOptions() {
    RemoteOptions& remote = options_.remote;
    CLI::Option* url = app_.add_option("--url", remote.urls,
                                       "Ask the CIM server http[s]://[USER@]HOST[:PORT] instead "
                                       "of this host; may be repeated")
                           ->type_name("URL")
                           ->allow_extra_args(false)
                           ->check(urlProblem, "", "");
    for (const char* local : {"--inventory", "--host-name", "--provider"}) {
      url->excludes(app_.get_option(local));
    }
    app_.add_option("--password-file", remote.passwordFile,
                    "The password for --url, in the first line; else PCICIM_PASSWORD or a prompt")
        ->type_name("FILE");
    app_.add_option("--ca-file", remote.caFile,
                    "Trust the authorities of these certificates, in PEM, not the system's")
        ->type_name("FILE");
    app_.add_flag("--insecure", remote.insecure,
                  "Take any certificate, and send the password also without TLS");
    app_.add_option("--timeout", remote.timeout, "Seconds without progress (default: 60)")
        ->type_name("N")
        ->check(CLI::Range(1, 86400));
  }

  static std::string urlProblem(const std::string& text) {
    try {
      cimom::parseServerUrl(text);
      return "";
    } catch (const cimom::UrlError& error) {
      return error.what();
    }
  }

  /// What is the project's own is the same for all hosts.
  void checkRemote() const {
    const bool isLocal =
        options_.command == Command::kClasses || options_.command == Command::kServe;
    if (isLocal && !options_.remote.urls.empty()) {
      throw CLI::ValidationError("--url", "this subcommand asks no host");
    }
    if (options_.command == Command::kPicture && options_.remote.urls.size() > 1) {
      throw CLI::ValidationError("--url", "a picture is that of one host");
    }
    if (options_.command == Command::kSave && options_.remote.urls.size() > 1) {
      throw CLI::ValidationError("--url", "save keeps the answers of one host");
    }
    // The sides of diff may be URLs.
    const bool hasUrl = !options_.remote.urls.empty() || options_.command == Command::kDiff;
    for (const char* name : {"--password-file", "--ca-file", "--insecure", "--timeout"}) {
      if (!hasUrl && app_.get_option(name)->count() > 0) {
        throw CLI::RequiresError(name, "--url");
      }
    }
  }

  CLI::App* addCommand(const char* name, const char* description, Command command) {
    CLI::App* added = app_.add_subcommand(name, description);
    added->callback([this, command] { options_.command = command; });
    return added;
  }

  void addClassCommands() {
    addFormat(addCommand("classes", "List the published classes", Command::kClasses),
              {"text", "json"});
    addFormat(addCommand("count", "Count the instances of each published class", Command::kCount),
              {"text", "json", "jsonl"});
    CLI::App* tree = addCommand("tree", "Show the PCI topology", Command::kTree);
    addFunctionFilters(tree);
    addFormat(tree, {"text", "json"});
    CLI::App* enumerate = addCommand("enum", "Enumerate a class", Command::kEnumerate);
    addTarget(enumerate, "CLASS");
    enumerate->add_flag("--names", options_.namesOnly, "Object paths only");
    addFunctionFilters(enumerate);
    addProperties(enumerate);
    addFormat(enumerate);
  }

  void addFunctionFilters(CLI::App* command) {
    addAddress(command, "Only functions at [[SEGMENT:]BUS:][DEVICE][.FUNCTION], hexadecimal");
    command->add_option("-d,--id", options_.ids, "Only functions with these ids, hexadecimal")
        ->type_name("VENDOR:DEVICE")
        ->check([](const std::string& text) {
          return parseIdFilter(text) ? "" : text + " is not of the form VENDOR:DEVICE";
        });
  }

  CLI::Option* addAddress(CLI::App* command, const char* description) {
    return command->add_option("-s,--address", options_.address, description)
        ->type_name("ADDRESS")
        ->check([](const std::string& text) {
          return !text.empty() && parseAddressFilter(text)
                     ? ""
                     : text + " is no address such as 01:00.0";
        });
  }

  void addPathCommands() {
    CLI::App* get = addCommand("get", "Get one instance", Command::kGet);
    CLI::Option* path = get->add_option("PATH", options_.target);
    path->excludes(
        addAddress(get, "The device, bridge or switch at [SEGMENT:]BUS:DEVICE.FUNCTION"));
    getPath_ = path;
    addProperties(get);
    addFormat(get);
    addProperties(addAssociation("associators", "Get what is associated with an object",
                                 Command::kAssociators, true));
    addAssociation("associator-names", "The paths of what is associated with an object",
                   Command::kAssociatorNames, true);
    addProperties(addAssociation("references", "Get the associations of an object",
                                 Command::kReferences, false));
    addAssociation("reference-names", "The paths of the associations of an object",
                   Command::kReferenceNames, false);
  }

  void addPicture() {
    static const std::map<std::string, PictureFormat> kFormats{
        {"svg", PictureFormat::kSvg}, {"png", PictureFormat::kPng}, {"pdf", PictureFormat::kPdf}};
    CLI::App* picture =
        addCommand("picture", "Draw the PCI topology into a file", Command::kPicture);
    picture
        ->add_option("FILE", options_.target,
                     "Its name ends in .svg, .png or .pdf; - is standard output")
        ->required();
    picture
        ->add_option_function<std::string>(
            "--format",
            [this](const std::string& name) { options_.pictureFormat = kFormats.at(name); },
            "What to draw, whatever the file's name is")
        ->check(CLI::IsMember(kFormats))
        ->type_name("FORMAT");
  }

  void addChanges() {
    CLI::App* save = addCommand("save", "Keep all answers of a host in a file", Command::kSave);
    addTarget(save, "FILE");
    save->add_flag("--without-associations", options_.withoutAssociations,
                   "Leave out what associates objects; diff does without");
    save->footer("FILE is written whole or not at all; - is standard output.");
    CLI::App* diff = addCommand("diff", "Tell what changed between two hosts", Command::kDiff);
    addTarget(diff, "BEFORE");
    diff->add_option("AFTER", options_.secondTarget)->required();
    addFormat(diff, {"text", "json"});
    diff->footer(
        "BEFORE and AFTER are each a saved inventory (lspci -D -xxxx), a file that save wrote, -\n"
        "for standard input with one of these, the URL of a CIM server as for --url, or live: for\n"
        "this host. The exit code is 0 when nothing changed, 1 when something did, 2 for trouble.");
  }

  void addServe() {
    constexpr int kLastPort = 65535;
    CLI::App* serve =
        addCommand("serve", "Answer CIM clients over HTTP until stopped", Command::kServe);
    ServeOptions& options = options_.serve;
    serve->add_option("--bind", options.address, "Listen at this address alone")
        ->type_name("ADDRESS")
        ->capture_default_str();
    serve
        ->add_option("--port", options.port,
                     "Listen at this port; 0 is any free one (default: 5988, with TLS 5989)")
        ->type_name("N")
        ->check(CLI::Range(0, kLastPort));
    serve
        ->add_option("--server-name", options.serverNames,
                     "A name by which clients call this host; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
    serve
        ->add_option("--stop-time", options.stopTime,
                     "Seconds that requests may take after SIGINT or SIGTERM")
        ->type_name("N")
        ->check(CLI::Range(0, 3600))
        ->capture_default_str();
    serve->add_flag("--reloadable", options.isReloadable,
                    "At SIGHUP let a fresh process take over, which reads everything anew");
    serve
        ->add_option("--config", configuration_,
                     "Take options from this file, in lines of NAME = VALUE")
        ->type_name("FILE");
    serve_ = serve;
    addProtection(serve);
    serve->footer(
        "Where others than this host reach the address it takes TLS and passwords, or\n"
        "--allow-anyone. SIGINT (Ctrl-C) and SIGTERM stop it once what it was asked is answered,\n"
        "within the stop time; a second one at once.");
  }

  void addProtection(CLI::App* serve) {
    ServeOptions& options = options_.serve;
    CLI::Option* certificate =
        serve
            ->add_option("--tls-certificate", options.tlsCertificate,
                         "Speak HTTPS with this certificate (and its chain), in PEM")
            ->type_name("FILE");
    CLI::Option* key =
        serve->add_option("--tls-key", options.tlsKey, "The certificate's key, in PEM")
            ->type_name("FILE");
    certificate->needs(key);
    key->needs(certificate);
    serve
        ->add_option("--password-file", options.passwordFile,
                     "Ask for a password; lines of user:hash as htpasswd -B writes them")
        ->type_name("FILE");
    serve->add_flag("--allow-anyone", options.allowAnyone,
                    "Listen beyond this host also without TLS or without passwords");
  }

  CLI::App* addAssociation(const char* name, const char* description, Command command,
                           bool crossesTheAssociation) {
    CLI::App* added = addCommand(name, description, command);
    addTarget(added, "PATH");
    added->add_option("--result-class", options_.resultClass,
                      "Answer with this class and those below it alone");
    added->add_option("--role", options_.role, "The object's role in the association");
    added->add_option("--assoc-class", options_.assocClass,
                      "Follow this association and those below it alone");
    if (crossesTheAssociation) {
      added->add_option("--result-role", options_.resultRole, "The role of the answers");
    }
    addFormat(added);
    return added;
  }

  void addTarget(CLI::App* command, const char* what) {
    command->add_option(what, options_.target)->required();
  }

  void addProperties(CLI::App* command) {
    command
        ->add_option("--property", options_.properties,
                     "A property to show beside the keys; may be repeated")
        ->type_name("NAME")
        ->allow_extra_args(false);
  }

  void addFormat(CLI::App* command,
                 const std::vector<std::string>& names = {"text", "mof", "json", "jsonl"}) {
    static const std::map<std::string, Format> kFormats{{"text", Format::kText},
                                                        {"mof", Format::kMof},
                                                        {"json", Format::kJson},
                                                        {"jsonl", Format::kJsonLines}};
    CLI::Option* format =
        command
            ->add_option_function<std::string>(
                "--format",
                [this](const std::string& name) { options_.format = kFormats.at(name); },
                "How the answer is written")
            ->check(CLI::IsMember(names))
            ->type_name("FORMAT");
    command
        ->add_flag_callback(
            "--json", [this] { options_.format = Format::kJson; }, "The same as --format json")
        ->excludes(format);
  }

  CLI::App app_{"Asks the PCI provider about this host's PCI topology, or a saved one."};
  CLI::App* help_ = nullptr;
  CLI::Option* getPath_ = nullptr;
  std::string helpTopic_;
  Options options_;
  CLI::App* serve_ = nullptr;
  std::string configuration_;
};

}  // namespace

Parsed parseCommandLine(int count, const char* const* words) {
  return CommandLine().parse(count, words);
}

}  // namespace pcicim
