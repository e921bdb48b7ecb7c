// An application built against an installed runtime: it must find its
// directories relative to the installed libraries, with no variable set.
#include <vqkudm/vqkudm.h>

#include <filesystem>
#include <iostream>

int main() {
  const vqkudm::UDMInstallLayout& layout = vqkudm::UDMFramework::GetInstance()->GetInstallLayout();
  std::cout << "home=" << std::filesystem::canonical(layout.homeDir.str()).string() << "\n";
  const vqkudm::UDMUID uid = vqkudm::UDMUID::Generate();
  if (!uid.IsValid() || uid.GetDmUid() + "0" != uid.ToString()) return 1;
  if (vqkudm::kClassPart != "UDMPart") return 2;
  try {
    vqkudm::ThrowNullArgument("int main()", "session ");
  } catch (const vqkudm::UDMException& e) {
    std::cout << e.what() << "\n";
    return e.GetExceptionSubCategory() == 1102 ? 0 : 3;
  }
  return 4;
}
