#pragma once
// A small in-process host for the module's tests. It answers global lookups from a table,
// records every lookup and every command sent through `evaluate`, and records messages.
// Only one TestHost can be current at a time, since the host's function pointers carry no
// context; the newest one constructed is current.
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <lwgeneric.h>
#include <lwhost.h>
#include <lwserver.h>
#include <lwsurfed.h>

namespace testhost {

struct Lookup {
  std::string name;
  int use;
  bool operator==(const Lookup&) const = default;
};

struct Message {
  std::string kind;  // "info", "error" or "warning"
  std::string first;
  std::string second;
  bool operator==(const Message&) const = default;
};

// The names the module's common start acquires, each with the highest version it asks for.
struct ServiceName {
  const char* name;
  int highestVersion;
};
extern const std::vector<ServiceName> kStartServices;

// A product word for "Product Info".
unsigned int productWord(int major, int minor, int build);

class TestHost {
 public:
  // Answers every service of the common start under its highest-version name, Layout as the
  // application, and a product word of 9.6 build 2000.
  TestHost();
  ~TestHost();
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  static TestHost* current();

  GlobalFunc* global() const;
  // The command access of a generic server: `evaluate` records into commands().
  LWLayoutGeneric* generic() { return &generic_; }

  // Answers `name` with `table`; a null table leaves the name out.
  void answer(const std::string& name, void* table);
  // Leaves out `name` under its plain name and every versioned name.
  void leaveOut(const std::string& name);
  void answerNothing();
  // Every versioned name tried for `name` by the common start, highest first, then plain.
  static std::vector<std::string> versionedNames(const std::string& name, int highestVersion);

  void setProductInfo(unsigned int word) { productInfo_ = word; }
  void setSystemId(unsigned int word) { systemId_ = word; }

  // The table this host gives for a name (its own stand-in object where none was set).
  void* table(const std::string& name) const;

  std::vector<Lookup> lookups;
  std::vector<std::string> commands;
  std::vector<Message> messages;
  std::vector<LWSurfaceID> surfacesSet;  // every setSurface of "SurfaceEditor Functions"

  // Runs after a command is recorded, as a host would carry it out.
  std::function<void(const std::string&)> onCommand;

  LWMessageFuncs messageFuncs{};
  LWSurfEdFuncs surfaceEditor{};

  std::vector<std::string> lookupNames() const;
  void clearRecords();

 private:
  static void* globalFunc(const char* name, int use);
  static int evaluateFunc(void* data, const char* command);

  std::map<std::string, void*> answers_;
  unsigned int productInfo_;
  unsigned int systemId_;
  LWLayoutGeneric generic_{};
  TestHost* previous_;
  // Distinct objects to hand out for services whose members no test reads.
  mutable std::map<std::string, std::vector<unsigned char>> standIns_;
};

}  // namespace testhost
