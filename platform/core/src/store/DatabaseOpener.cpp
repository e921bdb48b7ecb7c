#include <vqkudmrt/store/DatabaseOpener.h>

#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMFramework.h>
#include <vqkudmrt/store/SchemaMigrations.h>
#include <vqlmidbdriver/DbDriverLoader.h>
#include <vqlmosa/osaLibrary.h>

namespace vqkudm::store {

namespace {
DriverDecorator& Decorator() {
  static DriverDecorator decorator;
  return decorator;
}
}  // namespace

void SetDriverDecorator(DriverDecorator decorator) { Decorator() = std::move(decorator); }

std::shared_ptr<vqlm::iDbDriver> ConnectDatabase(const vqString& driverName, const vqString& connection) {
  if (!SqlDialect::ForDriver(driverName)) {
    ThrowInvalidArgException(UDM_FUNCSIG, "unknown database driver \"" + driverName + "\"",
                             ExcSubNotFound);
  }
  const vqString module = UDMFramework::GetInstance()->GetInstallLayout().driverDir + "/" +
                          osaLibrary::GetAbsoluteLibraryName("vqlmidbdriver_" + driverName);
  std::shared_ptr<vqlm::iDbDriver> db;
  vqlm::DbStatus status = vqlm::LoadDbDriver(module, db);
  if (!status) ThrowStateException(UDM_FUNCSIG, status.GetText(), ExcSubDatabase);
  status = db->Open(connection);
  if (!status) ThrowStateException(UDM_FUNCSIG, status.GetText(), ExcSubDatabase);
  return db;
}

std::shared_ptr<vqlm::iDbDriver> OpenRepositoryDatabase(const vqString& driverName,
                                                        const vqString& connection) {
  std::shared_ptr<vqlm::iDbDriver> db = ConnectDatabase(driverName, connection);
  MigrateSchema(*db, *SqlDialect::ForDriver(driverName));
  return Decorator() ? Decorator()(db) : db;
}

}  // namespace vqkudm::store
