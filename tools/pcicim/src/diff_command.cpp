#include "diff_command.h"

#include <changes/change_text.h>
#include <changes/comparison.h>
#include <changes/machine.h>
#include <changes/saved_answers.h>
#include <fcntl.h>
#include <mof/value_meanings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "child_process.h"
#include "descriptor_buffer.h"
#include "exit_code.h"

namespace pcicim {
namespace {

constexpr std::string_view kLiveHost = "live:";
constexpr std::string_view kStandardInput = "-";
constexpr const char* kInventoryVariable = "QARCTL_PCI_DUMP";

using Words = std::vector<std::string>;

/// A side whose process has said itself why it failed.
class SideFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Puts the descriptor at the place of a standard one.
void take(int descriptor, int place) {
  if (dup2(descriptor, place) < 0) {
    throw std::system_error(errno, std::generic_category(), "dup2");
  }
}

/// The words of the schema.
class SchemaWords : public ValueWriter {
 public:
  explicit SchemaWords(const cimom::ClassRepository& classes) : meanings_(classes) {}

  std::string text(const std::string& className, const cimom::NamedValue& value) override {
    return meanings_.explained(className, value);
  }

 private:
  cimom::ValueMeanings meanings_;
};

/// Becomes this program with those arguments.
void execute(std::vector<std::string> words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);
  execv("/proc/self/exe", pointers.data());
  throw std::system_error(errno, std::generic_category(), "exec");
}

/// The command line of a process that writes the answers of one side to standard output.
std::vector<std::string> savingWords(const Options& options, const Words& side) {
  std::vector<std::string> words{"pcicim"};
  words.insert(words.end(), side.begin(), side.end());
  const auto add = [&words](const char* option, const std::string& value) {
    if (!value.empty()) {
      words.insert(words.end(), {option, value});
    }
  };
  add("--schema", options.schema);
  // A server has a name and providers of its own.
  if (side.empty() || side.front() != "--url") {
    add("--host-name", options.hostName);
    for (const std::string& library : options.providers) {
      add("--provider", library);
    }
  }
  if (options.verbose) {
    words.emplace_back("--verbose");
  }
  words.insert(words.end(), {"save", "--without-associations", "-"});
  return words;
}

bool isUrl(const std::string& name) {
  return name.starts_with("http://") || name.starts_with("https://");
}

/// The options for asking the server.
Words urlWords(const Options& options, const std::string& url) {
  Words words{"--url", url};
  const RemoteOptions& remote = options.remote;
  if (!remote.passwordFile.empty()) {
    words.insert(words.end(), {"--password-file", remote.passwordFile});
  }
  if (!remote.caFile.empty()) {
    words.insert(words.end(), {"--ca-file", remote.caFile});
  }
  if (remote.insecure) {
    words.emplace_back("--insecure");
  }
  if (remote.timeout) {
    words.insert(words.end(), {"--timeout", std::to_string(*remote.timeout)});
  }
  return words;
}

/// Copies all that comes.
void copy(DescriptorBuffer& from, int to) {
  for (std::string_view bytes = from.peek(); !bytes.empty(); bytes = from.peek()) {
    while (!bytes.empty()) {
      const ssize_t count = write(to, bytes.data(), bytes.size());
      if (count < 0 && errno != EINTR) {
        return;
      }
      bytes.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      from.take(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
  }
}

/// One of the two sides. What it needs of other processes is started at once, so that both are
/// read at the same time.
class Side {
 public:
  Side(const Options& options, const std::string& name) : options_(options), name_(name) {
    if (name == kLiveHost) {
      ask({}, nothing());
      return;
    }
    if (isUrl(name)) {
      ask(urlWords(options, name), nothing());
      return;
    }
    openFile();
    if (!holdsSavedAnswers()) {
      readInventory();
    }
  }

  ComparedMachine read() {
    ComparedMachineBuilder builder;
    try {
      SavedAnswers(*text_, name_).giveTo(builder);
    } catch (const SavedAnswersError&) {
      endAnswering();
      throw;
    }
    endAnswering();
    ComparedMachine machine = builder.take();
    machine.host.source = name_;
    return machine;
  }

 private:
  /// Input for a process that reads none.
  static Descriptor nothing() { return Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)); }

  void openFile() {
    file_ = Descriptor(name_ == kStandardInput ? dup(STDIN_FILENO)
                                               : open(name_.c_str(), O_RDONLY | O_CLOEXEC));
    if (file_.number() < 0) {
      throw std::system_error(errno, std::generic_category(), name_);
    }
    text_ = std::make_unique<DescriptorBuffer>(file_.number(), name_);
  }

  /// The first character tells: an inventory begins with an address.
  bool holdsSavedAnswers() {
    const std::string_view begin = text_->peek();
    const std::size_t first = begin.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && begin[first] == '{';
  }

  bool isRegular() const {
    struct stat facts {};
    return name_ != kStandardInput && fstat(file_.number(), &facts) == 0 && S_ISREG(facts.st_mode);
  }

  /// What comes from a pipe comes once, and its beginning is here already: it is handed on.
  void readInventory() {
    if (isRegular()) {
      ask({"--inventory", name_}, nothing());
      return;
    }
    auto [readEnd, writeEnd] = makePipe();
    const int from = readEnd.number();
    const int to = writeEnd.number();
    feeder_.emplace([this, from, to] {
      close(from);
      copy(*text_, to);
      _exit(EXIT_SUCCESS);
    });
    writeEnd.close();
    ask({"--inventory", "-"}, std::move(readEnd));
  }

  /// `words` are the options that name the side; none is this host.
  void ask(const Words& words, Descriptor input) {
    auto [readEnd, writeEnd] = makePipe();
    child_.emplace([&, to = writeEnd.number()] {
      take(input.number(), STDIN_FILENO);
      take(to, STDOUT_FILENO);
      if (words.empty()) {
        unsetenv(kInventoryVariable);
      }
      execute(savingWords(options_, words));
    });
    file_ = std::move(readEnd);
    text_ = std::make_unique<DescriptorBuffer>(file_.number(), name_);
  }

  /// Throws when a process failed. One that is still writing is of no use any more.
  void endAnswering() {
    if (!child_) {
      return;
    }
    const bool hasEnded = text_->hasEnded();
    if (!hasEnded) {
      child_->kill();
    }
    const int status = child_->wait();
    if (hasEnded && status != 0) {
      throw SideFailure(name_ + ": status " + std::to_string(status));
    }
  }

  const Options& options_;
  std::string name_;
  Descriptor file_;
  std::unique_ptr<DescriptorBuffer> text_;
  std::optional<ChildProcess> feeder_;
  std::optional<ChildProcess> child_;
};

void checkSides(const Options& options) {
  if (!options.inventory.empty() || !options.remote.urls.empty()) {
    throw std::runtime_error("diff takes its two sides as words, not by --inventory or --url");
  }
  if (options.target == kStandardInput && options.secondTarget == kStandardInput) {
    throw std::runtime_error("standard input can be one side, not both");
  }
}

}  // namespace

int diff(const cimom::ClassRepository& classes, const Options& options, std::ostream& out) {
  checkSides(options);
  try {
    Side before(options, options.target);
    Side after(options, options.secondTarget);
    const ComparedMachine first = before.read();
    const ComparedMachine second = after.read();
    const std::vector<Change> changes = compare(first, second);
    if (options.format == Format::kJson) {
      printChangesAsJson(first.host, second.host, changes, out);
    } else {
      SchemaWords words(classes);
      printChanges(changes, words, out);
    }
    return changes.empty() ? kSuccess : kDifferences;
  } catch (const SideFailure&) {
    return kTrouble;
  }
}

}  // namespace pcicim
