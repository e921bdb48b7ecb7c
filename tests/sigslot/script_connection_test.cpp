#include <vqsigslot/vqSignal1.h>

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

namespace {
using Signal = vqSignal1<void, int, single_threaded>;
}

TEST(ScriptConnections, GlobalCallableStaysUntilDisconnected) {
  Signal signal;
  int sum = 0;
  const vqConnection* connection = signal.ConnectGlobal([&](int v) { sum += v; });
  signal.Emit(2);
  signal.Disconnect(connection);
  signal.Emit(5);
  EXPECT_EQ(sum, 2);
  EXPECT_TRUE(signal.IsEmpty());
}

TEST(ScriptConnections, ListenerBoundCallableEndsWithItsListener) {
  Signal signal;
  int sum = 0;
  {
    vqListener<single_threaded> owner;
    signal.ConnectScriptListener(&owner, [&](int v) { sum += v; });
    signal.Emit(1);
  }
  signal.Emit(10);
  EXPECT_EQ(sum, 1);
  EXPECT_TRUE(signal.IsEmpty());
}

TEST(ScriptConnections, WeaklyTrackedCallableIsSkippedAndRemovedOnceItsObjectExpires) {
  Signal signal;
  int sum = 0;
  auto object = boost::make_shared<int>(0);
  signal.ConnectTracked(object, [&](int v) { sum += v; });
  signal.Emit(1);
  object.reset();
  signal.Emit(100);
  EXPECT_EQ(sum, 1);
  EXPECT_TRUE(signal.IsEmpty());
  EXPECT_EQ(signal.GetFlags() & vqSignal::kCleanupPending, 0u);
}
