#pragma once

#include <model/cim_error.h>
#include <model/operations.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace servetest {

/// An object manager behind the server, for any number of threads: GetInstance returns the
/// path that it was asked for, and does not return before the gate is open.
class GatedHost : public cimom::Operations {
 public:
  /// Sets the text of the property Note in every answer.
  void setNote(std::string note) {
    const std::lock_guard lock(mutex_);
    note_ = std::move(note);
  }

  void close() { set(false); }
  void open() { set(true); }

  /// True once so many requests wait at the closed gate; false when they do not come in time.
  bool waitForRequests(unsigned count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return waiting_ >= count; });
  }

  cimom::Instance getInstance(const cimom::ObjectPath& path, const cimom::PropertyList&) override {
    return {path, {{"Note", cimom::Value::text(pass())}}};
  }
  void enumerateInstanceNames(const cimom::ObjectPath&, const cimom::PathSink&) override {}
  void enumerateInstances(const cimom::ObjectPath&, const cimom::PropertyList&,
                          const cimom::InstanceSink&) override {
    refuse();
  }
  void associators(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                   const cimom::PropertyList&, const cimom::InstanceSink&) override {
    refuse();
  }
  void associatorNames(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                       const cimom::PathSink&) override {
    refuse();
  }
  void references(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                  const cimom::PropertyList&, const cimom::InstanceSink&) override {
    refuse();
  }
  void referenceNames(const cimom::ObjectPath&, const cimom::AssociationFilter&,
                      const cimom::PathSink&) override {
    refuse();
  }

 private:
  [[noreturn]] static void refuse() {
    throw cimom::CimError(CMPI_RC_ERR_NOT_SUPPORTED, "not here");
  }

  void set(bool open) {
    const std::lock_guard lock(mutex_);
    open_ = open;
    changed_.notify_all();
  }

  /// Waits at the gate; returns the note as it is once the gate is open.
  std::string pass() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
    --waiting_;
    return note_;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::string note_;
  bool open_ = true;
  unsigned waiting_ = 0;
};

}  // namespace servetest
