#pragma once

// The create-and-persist workload through the profile, shared by the
// benchmarks that compare other ways of doing it with this one.

#include <filesystem>
#include <string>

#include <boost/shared_ptr.hpp>

#include <vqkudm/IUDMProfile.h>

// An empty directory of this process under the system's temporary one.
std::filesystem::path FreshProfileDirectory(const std::string& name);

// A profile on the local repository "bench" under `dir`.
boost::shared_ptr<vqkudm::IUDMProfile> OpenBenchProfile(const std::filesystem::path& dir);

// The workload of CreateAndPersistParts: a project with `count` parts of
// five attributes each, checked in at once.
void CreateAndPersistThroughProfile(vqkudm::IUDMProfile& profile, int count);
