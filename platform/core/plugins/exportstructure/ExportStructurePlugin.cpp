// The export plug-in: exports a structure through its session's export controller.

#include <vqkudmrt/UDMExchange.h>
#include <vqkudmrt/UDMException.h>
#include <vqkudmrt/UDMSession.h>

#include <boost/make_shared.hpp>

namespace {

class ExportStructurePlugin : public vqkudm::UDMExportStructurePlugin {
 public:
  vqString GetDisplayName() override { return "Structure export"; }
  vqString GetInterfaceName() override { return "UDMExportStructurePlugin"; }
  vqString GetKey() override { return m_key; }
  boost::shared_ptr<IUDMPlugin> Clone() override {
    auto copy = boost::make_shared<ExportStructurePlugin>();
    copy->m_session = m_session;
    copy->m_key = m_key;
    return copy;
  }
  boost::shared_ptr<IUDMPlugin> CreateNew() override { return boost::make_shared<ExportStructurePlugin>(); }
  vqkudm::UDMResult Init(const boost::weak_ptr<vqkudm::UDMSession>& session,
                         const boost::shared_ptr<vqkudm::UDMPluginConfig>& config) override {
    m_session = session;
    m_key = config ? config->GetKey() : vqString("UDMExportStructurePlugin");
    return vqkudm::UDM_SUCCESS;
  }
  void Shutdown() override { m_session.reset(); }

  void Export(const vqStlVector<boost::shared_ptr<vqkudm::UDMItem>>& items,
              const vqStlVector<boost::shared_ptr<vqkudm::UDMItem>>& related, const vqString& path,
              const boost::shared_ptr<vqkudm::UDMExportOptions>& options, vqStlVector<vqString>& written) override {
    boost::shared_ptr<vqkudm::UDMSession> session = m_session.lock();
    if (!session) vqkudm::ThrowStateException(UDM_FUNCSIG, "the export plug-in has no session", vqkudm::ExcSubNull);
    session->GetExportCtrl()->Export(items, related, path, options);
    written.push_back(path);
  }

 private:
  boost::weak_ptr<vqkudm::UDMSession> m_session;
  vqString m_key;
};

}  // namespace

VQ_MODULE_ENTRY vqkudm::UDMResult CreateInstance(boost::shared_ptr<vqkudm::IUDMPlugin>& out) {
  out.reset(new ExportStructurePlugin());
  return vqkudm::UDM_SUCCESS;
}
