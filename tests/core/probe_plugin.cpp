// A plug-in for the tests: it reports the session it was initialised with.
#include <vqkudmrt/UDMPlugin.h>
#include <vqkudmrt/UDMSession.h>

namespace {

class ProbePlugin : public vqkudm::IUDMPlugin {
 public:
  vqString GetDisplayName() override {
    boost::shared_ptr<vqkudm::UDMSession> session = m_session.lock();
    return "probe of " + (session ? session->GetSessionId() : vqString("no session")) + " as " + m_key;
  }
  vqString GetInterfaceName() override { return "IProbe"; }
  vqString GetKey() override { return m_key; }
  boost::shared_ptr<IUDMPlugin> Clone() override { return boost::shared_ptr<IUDMPlugin>(); }
  boost::shared_ptr<IUDMPlugin> CreateNew() override { return boost::shared_ptr<IUDMPlugin>(); }
  vqkudm::UDMResult Init(const boost::weak_ptr<vqkudm::UDMSession>& session,
                         const boost::shared_ptr<vqkudm::UDMPluginConfig>& config) override {
    m_session = session;
    m_key = config->GetKey();
    return vqkudm::UDM_SUCCESS;
  }
  void Shutdown() override {}

 private:
  boost::weak_ptr<vqkudm::UDMSession> m_session;
  vqString m_key;
};

}  // namespace

VQ_MODULE_ENTRY vqkudm::UDMResult CreateInstance(boost::shared_ptr<vqkudm::IUDMPlugin>& out) {
  out.reset(new ProbePlugin());
  return vqkudm::UDM_SUCCESS;
}
