#include "each_host.h"

#include <client/cim_xml_client.h>
#include <model/visible_text.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>
#include <utility>

#include "output.h"
#include "progress.h"
#include "report.h"

namespace pcicim {
namespace {

constexpr std::size_t kMostThreads = 8;
constexpr std::size_t kMostText = std::size_t{512} << 20;

/// Text in memory, until the room for all answers is used up or nobody wants them any more.
class AnswerText : public std::streambuf {
 public:
  explicit AnswerText(std::atomic<std::size_t>& room) : room_(room) {}

  std::string take() { return std::move(text_); }
  bool isFull() const { return isFull_; }

 protected:
  std::streamsize xsputn(const char* text, std::streamsize count) override {
    const auto size = static_cast<std::size_t>(count);
    if (!takeRoom(size)) return 0;
    text_.append(text, size);
    return count;
  }
  int_type overflow(int_type character) override {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(0);
    const char written = traits_type::to_char_type(character);
    return xsputn(&written, 1) == 1 ? character : traits_type::eof();
  }

 private:
  bool takeRoom(std::size_t size) {
    std::size_t left = room_;
    while (left >= size) {
      if (room_.compare_exchange_weak(left, left - size)) return true;
    }
    isFull_ = true;
    return false;
  }

  std::atomic<std::size_t>& room_;
  std::string text_;
  bool isFull_ = false;
};

struct HostAnswer {
  std::string text;
  /// Why there is none.
  std::optional<std::string> error;
};

/// What went wrong, with the host's name, once.
std::string reasonOf(const AskedHost& host, const std::exception& error) {
  const bool isNamed = dynamic_cast<const cimom::RemoteError*>(&error) != nullptr;
  return (isNamed ? "" : host.name() + ": ") + error.what();
}

HostAnswer answerOf(AskedHost& host, const HostCommand& command, std::atomic<std::size_t>& room) {
  AnswerText text(room);
  std::ostream out(&text);
  HostAnswer answer;
  try {
    command(host, out);
    answer.text = text.take();
  } catch (const std::exception& error) {
    answer.error = reasonOf(host, error);
  }
  if (text.isFull()) answer.error = host.name() + ": all answers together are too large";
  return answer;
}

/// Asks hosts in threads of its own.
class Questions {
 public:
  Questions(const std::vector<std::unique_ptr<AskedHost>>& hosts, const HostCommand& command)
      : hosts_(hosts), command_(command), answers_(hosts.size()) {
    for (std::size_t i = 0; i < std::min(kMostThreads, hosts.size()); ++i) {
      threads_.emplace_back([this] { askOn(); });
    }
  }
  /// Waits for questions that are under way, and hurries them.
  ~Questions() {
    next_ = hosts_.size();
    room_ = 0;
  }
  Questions(const Questions&) = delete;
  Questions& operator=(const Questions&) = delete;

  /// Says on a terminal how many have answered while it waits.
  HostAnswer waitFor(std::size_t index) {
    const Progress progress([this] {
      return std::to_string(answered_) + " of " + std::to_string(hosts_.size()) +
             " hosts have answered";
    });
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return answers_[index].has_value(); });
    return std::move(*answers_[index]);
  }

 private:
  void askOn() {
    for (std::size_t i = next_++; i < hosts_.size(); i = next_++) {
      HostAnswer answer = answerOf(*hosts_[i], command_, room_);
      const std::lock_guard<std::mutex> lock(mutex_);
      answers_[i] = std::move(answer);
      ++answered_;
      changed_.notify_all();
    }
  }

  const std::vector<std::unique_ptr<AskedHost>>& hosts_;
  const HostCommand& command_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::optional<HostAnswer>> answers_;
  std::atomic<std::size_t> next_ = 0;
  std::atomic<std::size_t> answered_ = 0;
  std::atomic<std::size_t> room_ = kMostText;
  /// The last member: ended before the others are destroyed.
  std::vector<std::jthread> threads_;
};

/// Puts names and what separates them around the answers.
class AnswerPrinter {
 public:
  AnswerPrinter(Format format, std::ostream& out) : format_(format), out_(out) {}

  void print(const std::string& name, std::string text) {
    switch (format_) {
      case Format::kJsonLines:
        break;
      case Format::kJson:
        out_ << (isFirst_ ? "{\n" : ",\n") << nlohmann::json(name).dump(-1, ' ', true) << ": ";
        if (text.ends_with('\n')) text.pop_back();
        break;
      case Format::kMof:
        out_ << (isFirst_ ? "" : "\n") << "// " << cimom::visibleText(name) << '\n';
        break;
      default:
        out_ << (isFirst_ ? "" : "\n") << cimom::visibleText(name) << ":\n";
    }
    out_ << text;
    isFirst_ = false;
    if (!out_.flush()) throw OutputFailure();
  }

  void finish() {
    if (format_ == Format::kJson) out_ << (isFirst_ ? "{}\n" : "\n}\n");
  }

 private:
  Format format_;
  std::ostream& out_;
  bool isFirst_ = true;
};

}  // namespace

void askEachHost(const std::vector<std::unique_ptr<AskedHost>>& hosts, Format format,
                 std::ostream& out, const HostCommand& command) {
  Questions questions(hosts, command);
  AnswerPrinter printer(format, out);
  std::size_t failures = 0;
  for (std::size_t i = 0; i < hosts.size(); ++i) {
    HostAnswer answer = questions.waitFor(i);
    if (answer.error) {
      ++failures;
      report(Severity::kError, *answer.error);
    } else {
      printer.print(hosts[i]->name(), std::move(answer.text));
    }
  }
  printer.finish();
  if (failures != 0) throw HostsFailed(failures < hosts.size());
}

}  // namespace pcicim
