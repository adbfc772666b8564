#pragma once
// The services the host answers, by the names a plug-in asks for.
//
// Each family of services lives in one file of this folder with one function
//
//   void registerXxx(Host& host)
//
// (namespace host, exactly that parameter), which adds the family's names to
// host.services(). The build finds these functions by that shape and calls them all when a
// Host is made, so a new family needs no other change.
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

namespace host {

class ServiceRegistry {
 public:
  // What a lookup gets: the service's table (or, for the few services that are a single
  // word, that word cast to a pointer). Called at every lookup with the caller's use value.
  using Answer = std::function<void*(int use)>;

  // Answers exactly `name`.
  void add(const std::string& name, Answer answer);
  // Answers `base` and "base 2" up to "base <highest>" with the same answer.
  void addVersioned(const std::string& base, int highestVersion, Answer answer);
  // Takes a name out, plain and versioned; later lookups of it give null.
  void remove(const std::string& name);

  // The answer for a name as a plug-in writes it ("LW Item Info 4"), or null. An exact
  // registration wins over a versioned one.
  void* find(const std::string& name, int use) const;
  bool answers(const std::string& name) const;
  // Every registered name, versioned ones as "base 1..N".
  std::vector<std::string> names() const;

 private:
  struct Entry {
    std::shared_ptr<const Answer> answer;
    int highestVersion = 0;  // 0: the exact name only
  };
  const Entry* match(const std::string& name) const;

  mutable std::shared_mutex mutex_;
  std::map<std::string, Entry> exact_;
  std::map<std::string, Entry> versioned_;
};

}  // namespace host
