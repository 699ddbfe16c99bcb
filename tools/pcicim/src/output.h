#pragma once

#include <model/value.h>
#include <mof/class_repository.h>

#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "options.h"

namespace pcicim {

/// What output throws that finds its stream failed: nobody reads the rest of the listing.
class OutputFailure : public std::runtime_error {
 public:
  OutputFailure();
};

/// Prints a listing object by object, as they come; finish() after the last one. What was printed
/// before a listing fails stays, a JSON array then without its end. For one thread; the classes
/// and the stream outlive it.
///
/// Instances. Text: one block each, names aligned, values with the meaning that their class gives
/// them and ids also in hexadecimal digits, what is not for a terminal written out; JSON: an array,
/// one object to a line, its class as "@class", references as objects, bytes that are no UTF-8
/// replaced; lines of JSON: such objects alone, with the host as "@host" in front; MOF: what a MOF
/// reader reads back. Object paths: one to a line, in JSON an array of objects.
class ListingPrinter {
 public:
  /// `host` is what lines of JSON call the host; `isColoured` sets names off in text, by escapes of
  /// terminals.
  ListingPrinter(const cimom::ClassRepository& classes, Format format, std::ostream& out,
                 std::string host = {}, bool isColoured = false);
  ~ListingPrinter();
  ListingPrinter(const ListingPrinter&) = delete;
  ListingPrinter& operator=(const ListingPrinter&) = delete;

  /// Throw OutputFailure when the stream has failed.
  void print(const cimom::Instance& instance);
  void print(const cimom::ObjectPath& path);

  void finish();

 private:
  class Meanings;
  /// Writes what stands before an object.
  void startObject(const char* separator);

  Format format_;
  std::ostream& out_;
  std::string host_;
  std::unique_ptr<Meanings> meanings_;
  bool isEmpty_ = true;
};

/// Prints how many instances classes have, in the order given: lines for people, or one JSON object
/// with the number for each name, or an object to a line with "@host", "class" and "instances".
void printCounts(const std::vector<std::pair<std::string, std::size_t>>& counts, Format format,
                 std::ostream& out, const std::string& host);

/// Prints classes by name, each with its superclass and description, as text or JSON; as MOF they
/// are files already.
void printClasses(const std::vector<std::string>& names, const cimom::ClassRepository& classes,
                  Format format, std::ostream& out);

}  // namespace pcicim
