#include "register_fixture.h"

#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <stdexcept>
#include <utility>

namespace shipping {

namespace fs = std::filesystem;

namespace {

const fs::path kManagers = MANAGERS;

std::string standardSchema() {
  return contentOf(SCHEMA_DIRECTORY "/standard/CIM_Standard.mof");
}

std::vector<std::string> standardClasses() {
  const std::string schema = standardSchema();
  const std::regex declaration("\nclass (\\w+)");
  std::vector<std::string> names;
  for (std::sregex_iterator it(schema.begin(), schema.end(), declaration), end; it != end; ++it) {
    names.push_back((*it)[1]);
  }
  return names;
}

std::string replaced(std::string text, const std::string& word, const std::string& by) {
  for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; at += by.size()) {
    text.replace(at, word.size(), by);
  }
  return text;
}

}  // namespace

Register::Register() {
  for (const fs::path& directory : {bin(), state(), searched()}) fs::create_directory(directory);
  for (const char* name :
       {"sh", "sed", "sort", "grep", "tr",    "cat", "readlink", "env", "dirname", "basename",
        "ln", "rm",  "cp",   "ls",   "mkdir", "awk", "find",     "mv",  "tail",    "ldd"}) {
    fs::create_symlink(fs::path("/usr/bin") / name, bin() / name);
  }
  fs::copy(STAGE "/share/pciprovider", data(), fs::copy_options::recursive);
  setVariable("FAKE_STATE=" + state().string());
  setVariable("FAKE_LOADER=" LOAD_LIBRARY);
  setVariable("FAKE_PROVIDER_DIRS=" STAGE "/" PROVIDER_DIR);
}

void Register::installOpenPegasus(const std::vector<std::string>& commands) {
  for (const std::string& name : commands) {
    fs::create_symlink(kManagers / "openpegasus" / name, bin() / name);
  }
  for (const std::string& name : standardClasses()) {
    write(classFile("root/cimv2", name), "class " + name + " {\n};\n");
  }
  for (const char* nameSpace : {"root/PG_InterOp", "root/interop"}) {
    write(classFile(nameSpace, "PG_ProviderModule"), "class PG_ProviderModule {\n};\n");
  }
}

fs::path Register::classFile(const std::string& nameSpace, const std::string& name) const {
  return state() / "openpegasus/namespaces" / nameSpace / "classes" / name;
}

void Register::installSfcb(const std::string& localStateDirectory, bool isWrittenOut) {
  stateDirectory_ = localStateDirectory;
  for (const char* name : {"sfcbstage", "sfcbunstage", "sfcbrepos"}) {
    const std::string prefix = isWrittenOut ? sfcbPrefix().string() : "${prefix}";
    std::string text = contentOf(kManagers / "sfcb" / (std::string(name) + ".in"));
    text = replaced(text, "@localstatedir@", prefix + '/' + localStateDirectory);
    text = replaced(text, "@datadir@", prefix + "/share");
    text = replaced(text, "@prefix@", sfcbPrefix());
    text = replaced(text, "@stand_ins@", kManagers);
    const fs::path command = sfcbPrefix() / "bin" / name;
    write(command, text);
    fs::permissions(command, fs::perms::owner_all);
    fs::create_symlink(command, bin() / name);
  }
  write(sfcbSchema() / "CIM_Schema.mof", standardSchema());
  write(staging() / "regs/other.reg", "[Other_Thing]\n   location: other\n#\n");
  write(staging() / "mofs/root/cimv2/Other.mof", "class Other_Thing : CIM_ManagedElement {\n};\n");
  EXPECT_EQ(runSfcb("sfcbrepos -f").status, 0);
  forgetCalls();
}

Outcome Register::runSfcb(const std::string& command) const {
  return shell(inWorld(command) + " 2>&1");
}

fs::path Register::sfcbConfigFor(const std::string& directories) const {
  const fs::path file = state().parent_path() / "sfcb.cfg";
  write(file, "httpPort: 5988\nproviderDirs: " + directories + "\n");
  return file;
}

void Register::expectFailure(const std::string& options, const std::vector<std::string>& texts,
                             std::source_location place) const {
  const testing::ScopedTrace trace(place.file_name(), static_cast<int>(place.line()), options);
  const Outcome outcome = runWithErrors(options);
  EXPECT_EQ(outcome.status, 1);
  for (const std::string& text : texts) EXPECT_THAT(outcome.out, testing::HasSubstr(text));
}

std::string Register::commandLine(const std::string& options) const {
  return inWorld(quoted(STAGE "/sbin/pciprovider-register") + " --data-dir " + quoted(data()) +
                 ' ' + options);
}

Outcome Register::runByHand(std::string commands) const {
  commands = replaced(std::move(commands), "/usr/share/pciprovider", data());
  return shell(inWorld("sh -e -c " + shipping::quoted(commands)) + " 2>&1");
}

std::string Register::inWorld(const std::string& command) const {
  return "env -i PATH=" + quoted(bin()) + variables_ + ' ' + command;
}

std::string Register::calls() const {
  return fs::exists(state() / "calls") ? contentOf(state() / "calls") : "";
}

Register::Files Register::contentsBelow(const fs::path& directory) {
  Files files;
  for (const std::string& file : filesBelow(directory)) files[file] = contentOf(directory / file);
  return files;
}

Register::Files Register::kept() const {
  Files files = contentsBelow(state());
  std::erase_if(files, [](const auto& file) {
    return file.first == "calls" || file.first.find("repository.previous/") != std::string::npos;
  });
  return files;
}

const std::vector<std::string>& mofNames() {
  static const std::vector<std::string> names{"Zelmar_PCIAssociations", "Zelmar_PCIBridge",
                                              "Zelmar_PCIDevice",       "Zelmar_PCIPort",
                                              "Zelmar_PCIPortGroup",    "Zelmar_PCIeSwitch"};
  return names;
}

std::string documentedCommands(const std::string& from, const std::string& to) {
  const std::string page = contentOf(SOURCE_DIRECTORY "/docs/administration.md");
  const auto begin = page.find(from);
  const auto end = page.find(to, begin);
  if (end == std::string::npos) throw std::runtime_error("not on the page: " + from + " to " + to);
  std::string commands;
  for (const std::string& line : linesOf(page.substr(begin, end - begin))) {
    if (line.starts_with("    ")) commands += line.substr(4) + '\n';
  }
  return commands;
}

std::string installedLibrary(const std::string& name) {
  return STAGE "/" PROVIDER_DIR "/" + name;
}

void write(const fs::path& file, const std::string& content) {
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  if (!(stream << content)) throw std::runtime_error("cannot write " + file.string());
}

void replaceIn(const fs::path& file, const std::string& text, const std::string& replacement) {
  std::string content = contentOf(file);
  const auto at = content.find(text);
  if (at == std::string::npos || content.find(text, at + 1) != std::string::npos) {
    throw std::runtime_error(file.string() + " does not hold once: " + text);
  }
  write(file, content.replace(at, text.size(), replacement));
}

}  // namespace shipping
