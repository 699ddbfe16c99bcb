#include "options.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <map>

namespace pcicim {
namespace {

constexpr int kWrongUse = 2;

class CommandLine {
 public:
  CommandLine() {
    app_.name("pcicim");
    app_.set_version_flag("--version", "pcicim " PCICIM_VERSION);
    app_.require_subcommand(0, 1);
    app_.fallthrough();
    addGeneralOptions();
    addClassCommands();
    addPathCommands();
    addServe();
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
    } catch (const CLI::ParseError& error) {
      result.done = true;
      result.exitCode = app_.exit(error) == 0 ? 0 : kWrongUse;
    }
    result.options = options_;
    return result;
  }

 private:
  void addGeneralOptions() {
    app_.add_option("--inventory", options_.inventory,
                    "A saved inventory (lspci -D -xxxx) to show instead of this host")
        ->type_name("FILE");
    app_.add_option("--host-name", options_.hostName, "The host's name")->type_name("NAME");
    app_.add_option("--provider", options_.providers,
                    "A provider library to load instead of the project's own; may be repeated")
        ->type_name("LIBRARY")
        ->allow_extra_args(false);
    app_.add_option("--schema", options_.schema, "Directory with the classes in MOF")
        ->type_name("DIR");
    app_.add_flag("--verbose", options_.verbose, "Show the providers' tracing too");
  }

  CLI::App* addCommand(const char* name, const char* description, Command command) {
    CLI::App* added = app_.add_subcommand(name, description);
    added->callback([this, command] { options_.command = command; });
    return added;
  }

  void addClassCommands() {
    addFormat(addCommand("classes", "List the published classes", Command::kClasses),
              {"text", "json"});
    addCommand("count", "Count the instances of each published class", Command::kCount);
    addCommand("tree", "Show the PCI topology", Command::kTree);
    CLI::App* enumerate = addCommand("enum", "Enumerate a class", Command::kEnumerate);
    addTarget(enumerate, "CLASS");
    enumerate->add_flag("--names", options_.namesOnly, "Object paths only");
    addProperties(enumerate);
    addFormat(enumerate);
  }

  void addPathCommands() {
    CLI::App* get = addCommand("get", "Get one instance", Command::kGet);
    addTarget(get, "PATH");
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
    added->add_option("--result-class", options_.resultClass, "Answer with this class alone");
    added->add_option("--role", options_.role, "The object's role in the association");
    added->add_option("--assoc-class", options_.assocClass, "Follow this association alone");
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
                 const std::vector<std::string>& names = {"text", "mof", "json"}) {
    static const std::map<std::string, Format> kFormats{
        {"text", Format::kText}, {"mof", Format::kMof}, {"json", Format::kJson}};
    command
        ->add_option_function<std::string>(
            "--format", [this](const std::string& name) { options_.format = kFormats.at(name); },
            "How the answer is written")
        ->check(CLI::IsMember(names))
        ->type_name("FORMAT");
  }

  CLI::App app_{"Asks the PCI provider about this host's PCI topology, or a saved one."};
  Options options_;
};

}  // namespace

Parsed parseCommandLine(int count, const char* const* words) {
  return CommandLine().parse(count, words);
}

}  // namespace pcicim
