#include "host/services/service_registry.h"

#include <cctype>
#include <cstdlib>

namespace host {

void ServiceRegistry::add(const std::string& name, Answer answer) {
  std::unique_lock lock(mutex_);
  exact_[name] = Entry{std::make_shared<const Answer>(std::move(answer)), 0};
}

void ServiceRegistry::addVersioned(const std::string& base, int highestVersion, Answer answer) {
  std::unique_lock lock(mutex_);
  versioned_[base] = Entry{std::make_shared<const Answer>(std::move(answer)), highestVersion < 1 ? 1 : highestVersion};
}

void ServiceRegistry::remove(const std::string& name) {
  std::unique_lock lock(mutex_);
  exact_.erase(name);
  versioned_.erase(name);
}

const ServiceRegistry::Entry* ServiceRegistry::match(const std::string& name) const {
  if (auto it = exact_.find(name); it != exact_.end()) return &it->second;
  if (auto it = versioned_.find(name); it != versioned_.end()) return &it->second;
  // "<base> <version>": a version from 1 up to the highest answered.
  const size_t blank = name.rfind(' ');
  if (blank == std::string::npos || blank + 1 >= name.size()) return nullptr;
  for (size_t i = blank + 1; i < name.size(); ++i)
    if (!std::isdigit(static_cast<unsigned char>(name[i]))) return nullptr;
  if (name.size() - blank - 1 > 6) return nullptr;
  const int version = std::atoi(name.c_str() + blank + 1);
  auto it = versioned_.find(name.substr(0, blank));
  if (it == versioned_.end() || version < 1 || version > it->second.highestVersion) return nullptr;
  return &it->second;
}

void* ServiceRegistry::find(const std::string& name, int use) const {
  std::shared_ptr<const Answer> answer;
  {
    std::shared_lock lock(mutex_);
    const Entry* e = match(name);
    if (!e) return nullptr;
    answer = e->answer;
  }
  // The answer runs outside the lock: it may look other services up.
  return answer && *answer ? (*answer)(use) : nullptr;
}

bool ServiceRegistry::answers(const std::string& name) const {
  std::shared_lock lock(mutex_);
  return match(name) != nullptr;
}

std::vector<std::string> ServiceRegistry::names() const {
  std::shared_lock lock(mutex_);
  std::vector<std::string> out;
  for (const auto& [name, e] : exact_) out.push_back(name);
  for (const auto& [name, e] : versioned_)
    out.push_back(e.highestVersion > 1 ? name + " 1.." + std::to_string(e.highestVersion) : name);
  return out;
}

}  // namespace host
