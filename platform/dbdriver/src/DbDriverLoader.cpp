#include <vqlmidbdriver/DbDriverLoader.h>

#include <vqlmosa/osaDynamicObject.h>

namespace vqlm {

DbStatus LoadDbDriver(const vqString& modulePath, std::shared_ptr<iDbDriver>& out) {
  out.reset();
  auto module = std::make_shared<osaDynamicObject>();
  // Kept loaded: database client libraries set up TLS libraries that do not
  // survive being unloaded and loaded again.
  const osaStatus loaded = module->LoadLibrary(modulePath, true);
  if (!loaded.IsOk()) return DbStatus::Failure(DbFailed, "load driver: " + loaded.GetText());
  auto create = reinterpret_cast<CreateDriverFunction>(module->FindSymbol("CreateDriver"));
  if (!create) return DbStatus::Failure(DbFailed, "load driver: " + module->GetLastError().GetText());
  iDbDriver* driver = create();
  if (!driver) {
    return DbStatus::Failure(DbFailed, "load driver: CreateDriver of " + modulePath + " made no driver");
  }
  // The deleter owns the module, so its code outlives the driver's destructor.
  out.reset(driver, [module](iDbDriver* d) { delete d; });
  return DbStatus();
}

}  // namespace vqlm
