#include "save_command.h"

#include <changes/operation_answers.h>
#include <changes/saved_answers.h>
#include <model/cim_error.h>

#include <array>
#include <ctime>
#include <ostream>
#include <streambuf>
#include <utility>

#include <topology/topology_reader.h>
#include "output.h"
#include "whole_file.h"

namespace pcicim {
namespace {

constexpr const char* kStandardOutput = "-";
constexpr const char* kHostClass = "OMC_UnitaryComputerSystem";

/// Collects small pieces for a file, whose errors pass through the stream that writes here when
/// its exceptions are on.
class WholeFileBuffer : public std::streambuf {
 public:
  explicit WholeFileBuffer(WholeFile& file) : file_(file) {
    setp(bytes_.data(), bytes_.data() + bytes_.size());
  }

 protected:
  int_type overflow(int_type byte) override {
    sync();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) {
      sputc(traits_type::to_char_type(byte));
    }
    return traits_type::not_eof(byte);
  }

  int sync() override {
    file_.write({pbase(), static_cast<std::size_t>(pptr() - pbase())});
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    return 0;
  }

 private:
  WholeFile& file_;
  std::array<char, 65536> bytes_{};
};

/// Ends the listing when nobody takes what is written.
class CheckedWriter : public SavedAnswersWriter {
 public:
  explicit CheckedWriter(std::ostream& out) : SavedAnswersWriter(out), out_(out) {}

  void instance(const cimom::Instance& instance) override {
    if (!out_) {
      throw OutputFailure();
    }
    SavedAnswersWriter::instance(instance);
  }

 private:
  std::ostream& out_;
};

std::string now() {
  const std::time_t time = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&time, &parts);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), length};
}

/// The name that the host has in its answers, and their namespace; what it is called here stays for
/// one that has no such object.
void askForHost(cimom::Operations& operations, HostFacts& facts) {
  cimom::ObjectPath path;
  path.className = kHostClass;
  try {
    operations.enumerateInstanceNames(path, [&facts](const cimom::ObjectPath& host) {
      const cimom::Value* name = host.findKey("Name");
      if (name != nullptr && !name->elements.empty()) {
        facts.name = cimom::toText(name->elements.front());
        facts.nameSpace = host.nameSpace;
      }
    });
  } catch (const cimom::CimError& error) {
    if (error.code() != CMPI_RC_ERR_INVALID_CLASS && error.code() != CMPI_RC_ERR_NOT_SUPPORTED) {
      throw;
    }
  }
}

std::vector<FunctionName> allFunctions(TopologySource& source) {
  std::vector<Function> functions = readTopology(source);
  for (Function& function : findLeftOut(source, functions)) {
    functions.push_back(std::move(function));
  }
  std::vector<FunctionName> names;
  names.reserve(functions.size());
  for (const Function& function : functions) {
    const bool isBridge = function.kind == Function::Kind::kBridge;
    names.push_back({isBridge ? "Zelmar_PCIBridge" : "Zelmar_PCIDevice", function.address});
  }
  return names;
}

void write(AskedHost& host, HostFacts facts, const std::vector<std::string>& classes,
           std::ostream& out) {
  facts.name = host.name();
  askForHost(host.operations(), facts);
  CheckedWriter writer(out);
  OperationAnswers(host.operations(), facts, classes, [&host] {
    return allFunctions(host.topology());
  }).giveTo(writer);
  writer.finish();
}

}  // namespace

void save(AskedHost& host, const std::string& inventory, const Options& options,
          const std::vector<std::string>& published, std::ostream& out) {
  const std::vector<std::string>& classes =
      options.withoutAssociations ? elementClasses() : published;
  HostFacts facts;
  facts.program = "pcicim " PCICIM_VERSION;
  facts.time = now();
  facts.source = options.remote.urls.empty() ? inventory : host.name();
  if (options.target == kStandardOutput) {
    write(host, facts, classes, out);
    return;
  }
  WholeFile file(options.target);
  WholeFileBuffer buffer(file);
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit);
  write(host, facts, classes, stream);
  stream.flush();
  file.keep();
}

}  // namespace pcicim
