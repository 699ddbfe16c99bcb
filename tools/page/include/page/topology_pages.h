#pragma once

#include <model/operations.h>
#include <mof/class_repository.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <picture/layout.h>

namespace pcicim {

/// What goes back for a page, a style sheet or a picture.
struct PageReply {
  /// Of HTTP: 200, 400, 404 or 500.
  int status = 200;
  std::string contentType;
  /// What a browser may load for it (Content-Security-Policy).
  std::string policy;
  std::string body;
};

struct PageSettings {
  std::string hostName;
  /// Shown in this order, each with its instances.
  std::vector<std::string> classes;
  /// Reads what the picture shows.
  std::function<Machine()> readMachine;
};

/// A host's classes as pages for a browser without scripts: at "/" the picture and the classes with
/// their counts, at /class/NAME a table of instances in parts of 100, at /object/NAME?KEY=VALUE&...
/// one instance with what is associated with it. Whatever is shown was escaped. Safe from any
/// number of threads if the operations are.
class TopologyPages {
 public:
  /// Repository and operations outlive it.
  TopologyPages(const cimom::ClassRepository& repository, cimom::Operations& operations,
                PageSettings settings);
  ~TopologyPages();
  TopologyPages(const TopologyPages&) = delete;
  TopologyPages& operator=(const TopologyPages&) = delete;

  /// True for the paths of pages, whether there is one at that path or not.
  static bool covers(std::string_view path);

  /// The page for the target of a request: a path that is covered, and a query behind "?". Targets
  /// that name nothing get a page that says so. Throws at most for want of memory.
  PageReply answer(std::string_view target);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace pcicim
