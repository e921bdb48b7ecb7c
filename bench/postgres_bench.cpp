// The shared repository on a PostgreSQL server: creating and persisting many
// items through the runtime against loading the same rows with COPY in one
// transaction on the same server. Needs the server that
// scripts/pg-test-server.sh starts (VQKUDM_TEST_PG).

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>

#include <vqnames/UDMNames.h>
#include <vqkudmrt/IUDMSession.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/UDMItem.h>
#include <vqkudmrt/UDMSessionConfig.h>
#include <vqkudmrt/store/DatabaseOpener.h>
#include <vqlmidbdriver/DbDriverLoader.h>
#include <vqlmosa/osaLibrary.h>

#include "workload.h"
#include "ratio_reporter.h"

using namespace vqkudm;

namespace {

const char* Server() { return std::getenv("VQKUDM_TEST_PG"); }

// A new, empty database on the server; its connection string.
std::string FreshDatabase() {
  static int counter = 0;
  const std::string name = "udmbench_" + std::to_string(::getpid()) + "_" + std::to_string(++counter);
  std::shared_ptr<vqlm::iDbDriver> admin;
  const vqString module = UDMFramework::GetInstance()->GetInstallLayout().driverDir + "/" +
                          osaLibrary::GetAbsoluteLibraryName("vqlmidbdriver_postgres");
  if (!vqlm::LoadDbDriver(module, admin) || !admin->Open(Server())) std::abort();
  admin->ExecSqlStatement("DROP DATABASE IF EXISTS " + name + " WITH (FORCE)");
  if (!admin->ExecSqlStatement("CREATE DATABASE " + name)) std::abort();
  return std::string(Server()) + " dbname=" + name;
}

void BM_CreateAndPersistItems_runtime(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    auto config = boost::make_shared<UDMSessionConfig>();
    config->SetDataSource("PostGres");
    config->SetRepositoryName("bench");
    config->SetUserName("bench");
    config->SetLMRepoClientSettings({{"dbconnectstring", FreshDatabase()}});
    boost::shared_ptr<IUDMSession> session = UDMFramework::GetInstance()->CreateSession(config);
    state.ResumeTiming();

    CreateAndPersistParts(*session, count);

    state.PauseTiming();
    UDMFramework::GetInstance()->DeleteSession(session);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

void BM_CreateAndPersistItems_baseline(benchmark::State& state) {
  const int count = static_cast<int>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    std::shared_ptr<vqlm::iDbDriver> db = store::OpenRepositoryDatabase("postgres", FreshDatabase());
    state.ResumeTiming();

    db->BeginTransaction();
    for (const TableRows& table : MakePartRows(count)) {
      if (!db->BulkInsert(table.table, table.columns, table.rows)) std::abort();
    }
    if (!db->Commit()) std::abort();
  }
  state.SetItemsProcessed(state.iterations() * count);
}

// Several clients checking in different items at once, each with a session
// of its own on one repository. "runtime" is `clients` clients each working
// on its own item, "baseline" one client doing the same check-ins of the same
// items one after the other: the ratio is how much of the single client's
// time the team needs (below 1: the server scales).
constexpr int kCheckInsPerItem = 100;

void CheckInConcurrently(benchmark::State& state, int items, bool concurrent) {
  const int clients = concurrent ? items : 1;
  for (auto _ : state) {
    state.PauseTiming();
    const std::string connection = FreshDatabase();
    std::vector<boost::shared_ptr<IUDMSession>> sessions;
    std::vector<UDMItemPtr> work;
    for (int c = 0; c < clients; ++c) {
      auto config = boost::make_shared<UDMSessionConfig>();
      config->SetDataSource("PostGres");
      config->SetRepositoryName("bench");
      config->SetUserName("client" + std::to_string(c));
      config->SetLMRepoClientSettings({{"dbconnectstring", connection}});
      sessions.push_back(UDMFramework::GetInstance()->CreateSession(config));
    }
    for (int i = 0; i < items; ++i) {
      work.push_back(sessions[i % clients]->CreateEntity(kClassPart, "item-" + std::to_string(i), UDMUID()));
      work.back()->Persist("", GDM_RECURSE_NONE, -1, false, false);
    }
    state.ResumeTiming();

    auto checkIn = [](const UDMItemPtr& item, int i) {
      item->CheckOut("");
      item->SetAttribute("mass", vqVariant(1.0 + i));
      item->Persist("", GDM_RECURSE_NONE, -1, false, false);
    };
    if (concurrent) {
      std::vector<std::thread> threads;
      for (int c = 0; c < clients; ++c) {
        threads.emplace_back([&, c] {
          for (int i = 0; i < kCheckInsPerItem; ++i) checkIn(work[c], i);
        });
      }
      for (std::thread& t : threads) t.join();
    } else {
      for (int i = 0; i < kCheckInsPerItem; ++i) {
        for (const UDMItemPtr& item : work) checkIn(item, i);
      }
    }

    state.PauseTiming();
    work.clear();
    for (auto& session : sessions) UDMFramework::GetInstance()->DeleteSession(session);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * items * kCheckInsPerItem);
}

void BM_ConcurrentCheckIn_runtime(benchmark::State& state) {
  CheckInConcurrently(state, static_cast<int>(state.range(0)), true);
}

void BM_ConcurrentCheckIn_baseline(benchmark::State& state) {
  CheckInConcurrently(state, static_cast<int>(state.range(0)), false);
}

}  // namespace

BENCHMARK(BM_ConcurrentCheckIn_runtime)->Name("PgConcurrentCheckIn/runtime")->ArgName("clients")->Arg(2)->Arg(8)
    ->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_ConcurrentCheckIn_baseline)->Name("PgConcurrentCheckIn/baseline")->ArgName("clients")->Arg(2)->Arg(8)
    ->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();
BENCHMARK(BM_CreateAndPersistItems_runtime)->Name("PgCreateAndPersistItems/runtime")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_CreateAndPersistItems_baseline)->Name("PgCreateAndPersistItems/baseline")->Arg(100000)
    ->Unit(benchmark::kMillisecond)->Iterations(1);

int main(int argc, char** argv) {
  if (!Server()) {
    std::fprintf(stderr, "postgres_bench needs a server: eval \"$(scripts/pg-test-server.sh start)\"\n");
    return 2;
  }
  return RunBenchmarksWithRatios(argc, argv);
}
