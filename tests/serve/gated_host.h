#pragma once

#include <model/cim_error.h>
#include <model/operations.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace servetest {

/// An object manager behind the server, for any number of threads: GetInstance returns the
/// path that it was asked for, and does not return before the gate is open. EnumerateInstances
/// returns what the test sets, gate or no gate.
class GatedHost : public cimom::Operations {
 public:
  /// Sets the text of the property Note in every answer.
  void setNote(std::string note) {
    const std::lock_guard lock(mutex_);
    note_ = std::move(note);
  }

  /// How many instances a listing returns, with the note as it is now, and the error with which it
  /// ends then.
  void setListing(std::size_t count, std::string error = {}) {
    const std::lock_guard lock(mutex_);
    listing_ = {count, note_, std::move(error)};
  }
  /// Instances of all listings that were taken.
  std::size_t handedOver() const { return handedOver_; }
  /// True once that many have begun and none is under way; false when that takes too long.
  bool waitForListings(unsigned count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(100),
                             [&] { return begun_ >= count && listings_ == 0; });
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
  void enumerateInstances(const cimom::ObjectPath& path, const cimom::PropertyList&,
                          const cimom::InstanceSink& sink) override {
    const ListingUnderWay underWay(*this);
    const Listing listing = listingNow();
    for (std::size_t i = 0; i < listing.count; ++i) {
      cimom::ObjectPath name = path;
      name.keys.push_back({"Id", cimom::Value::text(std::to_string(i))});
      sink({std::move(name), {{"Note", cimom::Value::text(listing.note)}}});
      ++handedOver_;
    }
    if (!listing.error.empty()) throw cimom::CimError(CMPI_RC_ERR_FAILED, listing.error);
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
  struct Listing {
    std::size_t count = 0;
    std::string note;
    std::string error;
  };

  Listing listingNow() {
    const std::lock_guard lock(mutex_);
    return listing_;
  }

  class ListingUnderWay {
   public:
    explicit ListingUnderWay(GatedHost& host) : host_(host) { host_.countListing(1); }
    ~ListingUnderWay() { host_.countListing(-1); }
    ListingUnderWay(const ListingUnderWay&) = delete;
    ListingUnderWay& operator=(const ListingUnderWay&) = delete;

   private:
    GatedHost& host_;
  };

  void countListing(int change) {
    const std::lock_guard lock(mutex_);
    listings_ += change;
    begun_ += change > 0 ? 1 : 0;
    changed_.notify_all();
  }

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
  Listing listing_;
  std::atomic<std::size_t> handedOver_ = 0;
  int listings_ = 0;
  unsigned begun_ = 0;
};

}  // namespace servetest
