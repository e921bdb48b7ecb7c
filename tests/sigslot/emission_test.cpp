#include <vqsigslot/vqSignal1.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Signal = vqSignal1<void, std::string, single_threaded>;

// Records what it receives; optional actions run inside delivery.
class Recorder : public vqListener<single_threaded> {
 public:
  explicit Recorder(std::vector<std::string>* log, std::string name) : m_log(log), m_name(std::move(name)) {}
  void update(std::string text) {
    m_log->push_back(m_name + ":" + text);
    if (onUpdate) onUpdate(text);
  }
  std::function<void(std::string&)> onUpdate;

 private:
  std::vector<std::string>* m_log;
  std::string m_name;
};

}  // namespace

TEST(SignalEmission, ReentrantEmissionDeliversNothingAndTheOuterOneCompletes) {
  std::vector<std::string> log;
  Signal signal;
  Recorder first(&log, "a"), second(&log, "b");
  first.onUpdate = [&](std::string& text) {
    if (text == "outer") signal.Emit("inner");
  };
  signal.Connect(&first, &Recorder::update);
  signal.Connect(&second, &Recorder::update);
  signal.Emit("outer");
  EXPECT_EQ(log, (std::vector<std::string>{"a:outer", "b:outer"}));
  EXPECT_FALSE(signal.IsEmitting());
  signal.Emit("again");
  EXPECT_EQ(log.size(), 4u) << "a dropped re-entrant emission must not block later ones";
}

TEST(SignalEmission, ConnectionAppendedDuringDeliveryReceivesTheSameEmission) {
  std::vector<std::string> log;
  Signal signal;
  Recorder first(&log, "a"), late(&log, "late");
  first.onUpdate = [&](std::string&) {
    if (!signal.IsConnected(&late)) signal.Connect(&late, &Recorder::update);
  };
  signal.Connect(&first, &Recorder::update);
  signal.Emit("x");
  EXPECT_EQ(log, (std::vector<std::string>{"a:x", "late:x"}));
}

TEST(SignalEmission, DisconnectingDuringDeliverySkipsTheLaterSlotAndCleansUpAfterwards) {
  std::vector<std::string> log;
  Signal signal;
  Recorder first(&log, "a"), second(&log, "b"), third(&log, "c");
  first.onUpdate = [&](std::string&) {
    signal.Disconnect(&first);   // itself
    signal.Disconnect(&second);  // a later one
  };
  signal.Connect(&first, &Recorder::update);
  signal.Connect(&second, &Recorder::update);
  signal.Connect(&third, &Recorder::update);
  signal.Emit("x");
  EXPECT_EQ(log, (std::vector<std::string>{"a:x", "c:x"}));
  EXPECT_EQ(signal.GetConnectionCount(), 1u);
  EXPECT_EQ(signal.GetFlags() & vqSignal::kCleanupPending, 0u);
  EXPECT_EQ(first.GetSignalCount(), 0u);
  signal.Emit("y");
  EXPECT_EQ(log.back(), "c:y");
  EXPECT_EQ(log.size(), 3u);
}

TEST(SignalEmission, ListenerDestroyedDuringDeliveryIsNotCalledAgain) {
  std::vector<std::string> log;
  Signal signal;
  Recorder first(&log, "a");
  auto doomed = std::make_unique<Recorder>(&log, "doomed");
  first.onUpdate = [&](std::string&) { doomed.reset(); };
  signal.Connect(&first, &Recorder::update);
  signal.Connect(doomed.get(), &Recorder::update);
  signal.Emit("x");
  EXPECT_EQ(log, (std::vector<std::string>{"a:x"}));
  EXPECT_EQ(signal.GetConnectionCount(), 1u);
}

TEST(SignalEmission, EachReceiverGetsItsOwnCopyOfTheArgument) {
  std::vector<std::string> log;
  Signal signal;
  Recorder first(&log, "a"), second(&log, "b");
  first.onUpdate = [](std::string& text) { text = "mutated"; };
  signal.Connect(&first, &Recorder::update);
  signal.Connect(&second, &Recorder::update);
  std::string original = "value";
  signal.Emit(original);
  EXPECT_EQ(log, (std::vector<std::string>{"a:value", "b:value"}));
  EXPECT_EQ(original, "value");
}

TEST(SignalEmission, BlockedOrEmptySignalsDeliverNothing) {
  std::vector<std::string> log;
  Signal signal;
  signal.Emit("nobody listens");
  Recorder first(&log, "a");
  signal.Connect(&first, &Recorder::update);
  signal.Block();
  signal.Emit("blocked");
  EXPECT_TRUE(log.empty());
  signal.Unblock();
  signal.Emit("open");
  EXPECT_EQ(log, (std::vector<std::string>{"a:open"}));
}

TEST(SignalEmission, ThrowingReceiverLeavesTheSignalUsable) {
  std::vector<std::string> log;
  Signal signal;
  Recorder thrower(&log, "t"), other(&log, "o");
  thrower.onUpdate = [&](std::string& text) {
    signal.Disconnect(&other);
    if (text == "boom") throw std::runtime_error("boom");
  };
  signal.Connect(&thrower, &Recorder::update);
  signal.Connect(&other, &Recorder::update);
  EXPECT_THROW(signal.Emit("boom"), std::runtime_error);
  EXPECT_FALSE(signal.IsEmitting());
  EXPECT_EQ(signal.GetConnectionCount(), 1u) << "the cleanup still ran";
  signal.Emit("calm");
  EXPECT_EQ(log.back(), "t:calm");
}
