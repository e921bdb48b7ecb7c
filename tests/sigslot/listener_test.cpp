#include <vqsigslot/vqSignal1.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

using Signal = vqSignal1<void, int, single_threaded>;

class Counter : public vqListener<single_threaded> {
 public:
  void add(int value) { total += value; }
  int total = 0;
};

}  // namespace

TEST(Listener, DestructionDisconnectsFromEverySignal) {
  Signal first, second;
  {
    Counter counter;
    first.Connect(&counter, &Counter::add);
    second.Connect(&counter, &Counter::add);
    second.Connect(&counter, &Counter::add);
    EXPECT_EQ(counter.GetSignalCount(), 2u);
  }
  EXPECT_TRUE(first.IsEmpty());
  EXPECT_TRUE(second.IsEmpty());
  first.Emit(1);  // would touch freed memory under the sanitizer if still connected
  second.Emit(1);
}

TEST(Listener, SignalDestroyedFirstIsForgotten) {
  Counter counter;
  {
    Signal signal;
    signal.Connect(&counter, &Counter::add);
    signal.Emit(2);
  }
  EXPECT_EQ(counter.GetSignalCount(), 0u);
  EXPECT_EQ(counter.total, 2);
}

TEST(Listener, FindsTheSignalOfAConnection) {
  Signal first, second;
  Counter counter;
  first.Connect(&counter, &Counter::add);
  const vqConnection* connection = second.Connect(&counter, &Counter::add);
  EXPECT_EQ(counter.GetSignal(connection), &second);
  second.Disconnect(connection);
  EXPECT_EQ(counter.GetSignal(connection), nullptr);
  EXPECT_EQ(counter.GetSignalCount(), 1u);
}

TEST(Listener, CopiesStartUnconnectedAndSignalCopiesHaveNoConnections) {
  Signal signal;
  Counter counter;
  signal.Connect(&counter, &Counter::add);
  Counter copy(counter);
  EXPECT_EQ(copy.GetSignalCount(), 0u);
  Signal signalCopy(signal);
  EXPECT_TRUE(signalCopy.IsEmpty());
  signal.Emit(3);
  EXPECT_EQ(counter.total, 3);
  EXPECT_EQ(copy.total, 0);
}
