#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <iostream>
#include <thread>
#include <utility>

#include "cli/terminal.h"
#include "files/whole_file.h"
#include "phone/fixture.h"
#include "phone/fixture_settings.h"

namespace factory {
namespace {

// The terminal itself: standard input and output may be files, and a record on standard output stays whole.
constexpr char kTerminal[] = "/dev/tty";
constexpr int kLookMs = 20;

using Answer = Asker::Answer;

class Terminal : public Asker {
 public:
  Terminal() : fd_(open(kTerminal, O_RDWR | O_CLOEXEC | O_NOCTTY)) {}
  ~Terminal() override {
    if (fd_ >= 0) close(fd_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  bool there() const override { return fd_ >= 0; }

  Answer ask(const Fixture::Settings& /*settings*/, const std::vector<std::string>& instructions,
             const std::atomic<bool>& interrupted) override {
    const std::lock_guard<std::mutex> quiet(StatusLine::mutex());
    std::cout << std::flush;
    std::string text = "\r\033[K";
    for (const std::string& instruction : instructions) text += wrapped(visible(instruction) + ".", columns()) + "\n";
    forget_typed();
    std::string answer;
    for (;;) {
      print(text + "Enter: done  s: skip  a: abort > ");
      if (!read_line(interrupted, &answer)) break;
      if (answer.empty() || answer == "\r") return Answer::done;
      if (answer == "s" || answer == "skip") return Answer::skip;
      if (answer == "a" || answer == "abort") return Answer::abort;
      text = "'" + visible(answer) + "' is no answer.\n";
    }
    print("\n");
    return interrupted ? Answer::interrupted : Answer::abort;
  }

 private:
  // What was typed before the question answers nothing.
  void forget_typed() const { tcflush(fd_, TCIFLUSH); }
  void print(const std::string& text) const { (void)write_all(fd_, text); }
  size_t columns() const { return terminal_columns(fd_); }

  // False: interrupted, or the terminal is gone or at its end.
  bool read_line(const std::atomic<bool>& interrupted, std::string* line) const {
    line->clear();
    while (!interrupted) {
      pollfd wanted{fd_, POLLIN, 0};
      if (poll(&wanted, 1, kLookMs) <= 0) continue;
      char c = 0;
      if (read(fd_, &c, 1) != 1) return false;
      if (c == '\n') return true;
      *line += c;
    }
    return false;
  }

  const int fd_;
};

class OperatorFixture : public Fixture {
 public:
  OperatorFixture(std::unique_ptr<Fixture> phone, std::shared_ptr<Asker> asker, const std::atomic<bool>& interrupted)
      : phone_(std::move(phone)), asker_(std::move(asker)), interrupted_(interrupted) {
    // Of a real phone's world the command line tells what nobody needs to be asked.
    if (!phones_are_simulated()) confirmed_ = phone_->world();
  }

  std::string device_root() const override { return phone_->device_root(); }
  std::vector<std::pair<std::string, std::string>> facts() const override {
    auto out = phone_->facts();
    out.emplace_back("fixture", "operator");
    return out;
  }
  std::vector<std::string> remarks() const override { return phone_->remarks(); }
  std::map<std::string, std::string> world() const override { return confirmed_; }
  bool asks_operator() const override { return true; }
  void on_hub_message(std::function<void(const HubMessage&)> listener) override {
    phone_->on_hub_message(std::move(listener));
  }

  std::string set_world(const std::string& key, const std::string& value) override {
    const Arranged arranged = arrange({{key, value}});
    return arranged.problems.empty() ? "" : arranged.problems[0];
  }

  Arranged arrange(const Settings& settings) override {
    Arranged out;
    std::vector<std::string> instructions;
    std::string asked;
    for (const auto& [key, value] : settings) {
      instructions.push_back(instruction(key, value));
      asked += (asked.empty() ? "" : "; ") + instructions.back();
    }
    if (!asker_->there()) {
      out.problems.push_back("there is no terminal to ask an operator on: " + asked);
      return out;
    }
    switch (asker_->ask(settings, instructions, interrupted_)) {
      case Answer::done:
        for (const auto& [key, value] : settings) {
          const std::string problem = phone_->set_world(key, value);
          if (!problem.empty()) out.problems.push_back(problem);
          confirmed_[key] = value;
        }
        out.notes.push_back("the operator confirmed: " + asked);
        return out;
      case Answer::skip:
        for (const auto& [key, value] : settings) confirmed_.erase(key);
        out.problems.push_back("the operator skipped: " + asked);
        return out;
      case Answer::abort:
        kill(getpid(), SIGINT);  // from here on as with Ctrl-C
        while (!interrupted_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        out.problems.emplace_back("the operator aborted the run");
        return out;
      case Answer::interrupted:
        out.problems.emplace_back("interrupted");
        return out;
    }
    return out;
  }

 private:
  const std::unique_ptr<Fixture> phone_;
  const std::shared_ptr<Asker> asker_;
  const std::atomic<bool>& interrupted_;
  std::map<std::string, std::string> confirmed_;
};

}  // namespace

void require_terminal() {
  if (Terminal().there()) return;
  throw AppError(kUsage, std::string("--fixture operator: there is no terminal to ask on (") + kTerminal + ": " +
                             strerror(errno) + "); run it on a terminal" +
                             (phones_are_simulated() ? ", or with --fixture simulated" : ""));
}

std::shared_ptr<Asker> terminal_asker() { return std::make_shared<Terminal>(); }

std::unique_ptr<Fixture> ask_operator(std::unique_ptr<Fixture> phone, std::shared_ptr<Asker> asker,
                                      const std::atomic<bool>& interrupted) {
  return std::make_unique<OperatorFixture>(std::move(phone), std::move(asker), interrupted);
}

}  // namespace factory
