// A tour of what the runtime offers so far: identifiers, the failure
// conventions, the install layout and the logger.
#include <vqkudm/vqkudm.h>

#include <iostream>

using namespace vqkudm;

int main() {
  UDMFramework* framework = UDMFramework::GetInstance();
  const UDMInstallLayout& layout = framework->GetInstallLayout();
  std::cout << "Runtime installed under " << layout.homeDir << "\n"
            << "  plug-ins: " << layout.pluginDir << "\n"
            << "  drivers:  " << layout.driverDir << "\n"
            << "  data:     " << layout.dataDir << "\n\n";

  std::cout << "Identifiers of three new " << kClassPart << " entities (time-ordered):\n";
  for (int i = 0; i < 3; ++i) {
    const UDMUID uid = UDMUID::Generate();
    std::cout << "  " << uid.ToString() << "  id " << uid.GetDmUid() << ", revision "
              << uid.GetRevision() << "\n";
  }
  const UDMUID third = UDMUID::Generate().WithRevision(3);
  std::cout << "  the same id at revision 3: " << third.ToString() << "\n\n";

  std::cout << "Text that is not an identifier is refused clearly:\n";
  try {
    UDMUID::Parse(third.GetDmUid() + "v3");
  } catch (const UDMException& e) {
    std::cout << "  [" << e.GetExceptionCategory() << "/" << e.GetExceptionSubCategory() << "] "
              << e.what() << "\n\n";
  }

  std::cout << "Argument checks name the operation and the argument:\n";
  try {
    ThrowEmptyArgument(UDM_FUNCSIG, "Content Type ");
  } catch (const UDMException& e) {
    std::cout << "  [" << e.GetExceptionCategory() << "/" << e.GetExceptionSubCategory() << "] "
              << e.what() << "\n\n";
  }

  std::cout << std::flush;
  framework->GetLogger()->LogMessage("the tour is done", UDMLogger::LevelWarning);
  std::cout << "A warning went to " << (framework->GetLogger()->IsLoggedToFile() ? "the log file" : "standard error")
            << "; set UDMRT_LOGDIR to log to a file.\n";
  return 0;
}
