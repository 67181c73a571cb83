#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <optional>

#include "host/commands/command.h"
#include "host/session/diagnostics.h"
#include "host/session/session.h"
#include "host/session/sqlite.h"
#include "host/session/stored_items.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

// The service deletes by recursion; a chain that is deeper than this is taken down from its end instead.
constexpr std::size_t kMaxRecursionDepth = 500;
// So many items are worth an index.
constexpr std::size_t kMinItemsForIndex = 1000;

struct SStoredArguments {
  SDatabaseOptions database;
  std::string name;
  int id = kStoredRoot;
  int parent = kStoredRoot;
  int flags = 0;
  bool json = false, dryRun = false;
  bool hasName = false, hasParent = false, hasFlags = false;
};

CHostError UnknownItem(int id) { return NoSuchStoredItem(id); }

void RequireItem(const CStoredItems& items, int id) {
  if (id != kStoredRoot && !items.Find(id)) throw UnknownItem(id);
}

CJson ItemJson(const SStoredItem& item) {
  return {{"id", item.id}, {"parent", item.parentID}, {"name", item.name}, {"flags", item.flags}};
}

void AddItem(const SStoredArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Fill);
  RequireItem(CStoredItems(session.DatabasePath()), arguments.parent);
  int id = 0;
  const CQvStringW name = CQvStringUtils::UTF8toW(arguments.name);
  RequireDone("the database did not take the item",
              [&] { return session.Service().InsertStoredItem(arguments.parent, name.c_str(), arguments.flags, &id); });
  if (arguments.json) {
    PrintJson(ItemJson({id, arguments.parent, arguments.flags, arguments.name}));
  } else {
    std::printf("stored item %d: %s\n", id, Printable(arguments.name).c_str());
  }
}

// The item as it is to become.
SStoredItem Updated(const SStoredArguments& arguments, const CStoredItems& items) {
  const SStoredItem* present = items.Find(arguments.id);
  if (!present) throw UnknownItem(arguments.id);
  SStoredItem item = *present;
  if (arguments.hasParent) item.parentID = arguments.parent;
  if (arguments.hasFlags) item.flags = arguments.flags;
  if (arguments.hasName) item.name = arguments.name;
  if (arguments.hasParent) RequireItem(items, item.parentID);
  if (arguments.hasParent && items.IsBelow(item.parentID, item.id)) {
    throw CHostError(fmt::format("item {} cannot be moved into itself, where item {} lies", item.id, item.parentID));
  }
  return item;
}

void UpdateItem(const SStoredArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Change);
  const SStoredItem item = Updated(arguments, CStoredItems(session.DatabasePath()));
  const CQvStringW name = CQvStringUtils::UTF8toW(item.name);
  RequireDone("the database did not take the change",
              [&] { return session.Service().UpdateStoredItem(item.id, item.parentID, name.c_str(), item.flags); });
  if (arguments.json) {
    PrintJson(ItemJson(item));
  } else {
    std::printf("stored item %d: %s, in %d, flags %d\n", item.id, Printable(item.name).c_str(), item.parentID,
                item.flags);
  }
}

void ListItems(const SStoredArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  const CStoredItems items(session.DatabasePath());
  RequireItem(items, arguments.id);
  CTable table({"ID", "Flags", "Name"}, {true, true, false});
  CJson document = CJson::array();
  for (const SStoredItem* item : items.Children(arguments.id)) {
    document.push_back(ItemJson(*item));
    table.Add({std::to_string(item->id), std::to_string(item->flags), Printable(item->name)});
  }
  PrintList(arguments.json, document, table, "nothing");
}

// A flat list: a deep tree nested in JSON could not be read by most programs.
CJson TreeJson(const CStoredItems& items, int rootID) {
  CJson document = CJson::array();
  for (CStoredTreeWalk walk(items, rootID); walk.Next();) {
    CJson item = ItemJson(walk.Item());
    item["depth"] = walk.Depth();
    document.push_back(std::move(item));
  }
  return document;
}

void PrintTree(const CStoredItems& items, int rootID) {
  if (const SStoredItem* root = items.Find(rootID)) std::printf("%s  [%d]\n", Printable(root->name).c_str(), rootID);
  for (CStoredTreeWalk walk(items, rootID); walk.Next();) {
    std::printf("%s%s  [%d]\n", walk.Branches().c_str(), Printable(walk.Item().name).c_str(), walk.Item().id);
  }
  if (rootID == kStoredRoot && items.Children(rootID).empty()) std::printf("nothing\n");
}

void Tree(const SStoredArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Look);
  const CStoredItems items(session.DatabasePath());
  RequireItem(items, arguments.id);
  if (arguments.json) {
    PrintJson(TreeJson(items, arguments.id));
  } else {
    PrintTree(items, arguments.id);
  }
}

// Lets the service find an item's children without going through the whole table, while many are deleted.
class CTemporaryIndex {
 public:
  explicit CTemporaryIndex(const std::string& databasePath)
      : m_db(OpenConnection(databasePath, SQLite::OPEN_READWRITE)) {
    m_db.exec("CREATE INDEX IF NOT EXISTS qvthumbs_children ON stored (storedParentID)");
  }
  CTemporaryIndex(const CTemporaryIndex&) = delete;
  CTemporaryIndex& operator=(const CTemporaryIndex&) = delete;
  ~CTemporaryIndex() { m_db.tryExec("DROP INDEX IF EXISTS qvthumbs_children"); }

 private:
  SQLite::Database m_db;
};

void DeleteTree(CSession& session, const std::vector<int>& ids, std::size_t depth) {
  std::optional<CTemporaryIndex> index;
  if (ids.size() >= kMinItemsForIndex) index.emplace(session.DatabasePath());
  RequireDone("the items cannot be deleted", [&] {
    if (depth <= kMaxRecursionDepth) return session.Service().DeleteStoredItem(ids.front());
    std::int32_t result = kQvOk;
    // A parent stands before what is below it, so from the end every item is a leaf.
    for (auto id = ids.rbegin(); id != ids.rend() && result == kQvOk; ++id) {
      result = session.Service().DeleteStoredItem(*id);
    }
    return result;
  });
}

void DeleteItems(const SStoredArguments& arguments) {
  CSession session;
  session.Open(arguments.database, EDatabaseNeed::Change);
  std::vector<int> ids = {arguments.id};
  std::size_t depth = 0;
  {
    const CStoredItems items(session.DatabasePath());
    if (!items.Find(arguments.id)) throw UnknownItem(arguments.id);
    for (CStoredTreeWalk walk(items, arguments.id); walk.Next();) {
      ids.push_back(walk.Item().id);
      depth = std::max(depth, walk.Depth());
    }
  }
  if (!arguments.dryRun) DeleteTree(session, ids, depth);
  const auto deleted = static_cast<std::int64_t>(ids.size());
  if (arguments.json) {
    PrintJson({{arguments.dryRun ? "wouldDelete" : "deleted", deleted}});
  } else {
    std::printf("%s %s\n", arguments.dryRun ? "would delete" : "deleted", FormatCountOf(deleted, "item").c_str());
  }
}

void AddAddVerb(CCommand parent) {
  const auto arguments = std::make_shared<SStoredArguments>();
  CCommand command =
      AddVerb(parent, "add", "Add an item", "qvthumbs stored add --parent 1 \"plate 7\"", arguments, &AddItem);
  AddRequired(command, "name", &arguments->name, "The item's name", "NAME").NotEmpty("an item needs a name");
  command.AddOption("--parent", &arguments->parent, "The item that it goes into (default: the top)").Type("ID");
  command.AddOption("--flags", &arguments->flags, "A number of your own").Type("N");
}

void AddUpdateVerb(CCommand parent) {
  const auto arguments = std::make_shared<SStoredArguments>();
  CCommand command = AddVerb(parent, "update", "Rename or move an item, or change its flags",
                             "qvthumbs stored update 4 --parent 2", arguments, &UpdateItem);
  AddRequired(command, "id", &arguments->id, "The item's number", "ID");
  COption name =
      command.AddOption("--name", &arguments->name, "The new name").NotEmpty("an item needs a name").Type("NAME");
  COption parentID = command.AddOption("--parent", &arguments->parent, "The item that it goes into; 0 is the top");
  parentID.Type("ID");
  COption flags = command.AddOption("--flags", &arguments->flags, "The new flags").Type("N");
  command.SetWork([arguments, name, parentID, flags] {
    arguments->hasName = name.IsGiven();
    arguments->hasParent = parentID.IsGiven();
    arguments->hasFlags = flags.IsGiven();
    if (!arguments->hasName && !arguments->hasParent && !arguments->hasFlags) {
      throw CHostError("nothing to update; give --name, --parent or --flags");
    }
    UpdateItem(*arguments);
  });
}

}  // namespace

void AddStoredCommand(CCommand program, SOutcome&) {
  CCommand command = program.AddVerb("stored", "The tree of stored items");
  command.RequireVerb();
  command.SetFooter(
      "Example: two items, one in the other\n"
      "  qvthumbs stored add \"project A\"\n  qvthumbs stored add --parent 1 \"plate 7\"\n"
      "  qvthumbs stored tree");
  AddAddVerb(command);
  AddUpdateVerb(command);
  const auto addOfItem = [command](const char* name, const char* description, const char* example,
                                   void (*work)(const SStoredArguments&)) {
    const auto arguments = std::make_shared<SStoredArguments>();
    CCommand verb = AddVerb(command, name, description, example, arguments, work);
    verb.AddOption("id", &arguments->id, "The item (default: the top)").Type("ID");
  };
  addOfItem("list", "List what an item holds", "qvthumbs stored list 1", &ListItems);
  addOfItem("tree", "Draw the tree below an item", "qvthumbs stored tree", &Tree);
  const auto arguments = std::make_shared<SStoredArguments>();
  CCommand remove = AddVerb(command, "delete", "Delete an item and everything below it", "qvthumbs stored delete 4",
                            arguments, &DeleteItems);
  AddRequired(remove, "id", &arguments->id, "The item's number", "ID");
  AddDryRunOption(remove, &arguments->dryRun);
}

}  // namespace qvhost
