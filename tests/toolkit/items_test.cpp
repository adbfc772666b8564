// Item names and the item chooser against the real stand-in host: copies told apart by their
// marks and places, saved names finding their items again in a scene, the host's renumbering,
// Select Item's list, and the About panel's texts. Headless (panel_test.cpp's environment).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/services/host.h"
#include "host/services/scene_ids.h"
#include "runtime/global_services.h"
#include "toolkit/about_panel.h"
#include "toolkit/instance_text.h"
#include "toolkit/item_chooser.h"
#include "toolkit/select_item.h"
#include "support/started_host.h"

namespace {

using host::ItemType;

class Items : public ::testing::Test {
 protected:
  void SetUp() override {
    host::Scene s;
    auto add = [&](ItemType type, const char* name, int parent = -1) {
      const int i = s.addItem(type, name);
      s.items[size_t(i)].parent = parent;
      s.items[size_t(i)].object.isNull = true;
      return i;
    };
    boxLid = add(ItemType::Object, "box lid");  // before "box": must never be taken for it
    box = add(ItemType::Object, "box");
    // Loaded three times: the host marks the clones "box (2)" and "box (3)", as Layout does.
    box2 = add(ItemType::Object, "box");
    boxAgain = add(ItemType::Object, "box");
    crate = add(ItemType::Object, "crate");
    rig = add(ItemType::Object, "rig");
    rig2 = add(ItemType::Object, "rig");
    light = add(ItemType::Light, "Light");
    light2 = add(ItemType::Light, "Light");
    add(ItemType::Camera, "Camera");
    for (int object : {rig, rig2}) {
      const int root = add(ItemType::Bone, "root", object);
      const int arm = add(ItemType::Bone, "arm", root);  // found through the chain of bones
      s.items[size_t(root)].bone.objectIndex = s.items[size_t(arm)].bone.objectIndex = object;
      (object == rig ? arm1 : arm2) = arm;
    }
    stray = add(ItemType::Bone, "stray");  // of no object
    host_ = std::make_unique<testhost::StartedHost>(std::move(s));
    ASSERT_TRUE(host_->started());
  }
  void TearDown() override { host_.reset(); }

  LWItemID id(int index) const { return host::itemIdAt(host_->host().scene(), index); }

  ItemName named(int32_t type, const char* name, int32_t copyNumber = 1, int32_t ordinal = 1) const {
    ItemName n{nullptr, type, copyNumber, ordinal, {}};
    std::snprintf(n.name, sizeof n.name, "%s", name);
    return n;
  }

  std::string display(LWItemID item) const {
    char out[kItemNameSize * 2];
    itemDisplayName(item, out, sizeof out);
    return out;
  }

  std::unique_ptr<testhost::StartedHost> host_;
  int boxLid = 0, box = 0, box2 = 0, boxAgain = 0, crate = 0, rig = 0, rig2 = 0, light = 0, light2 = 0;
  int arm1 = 0, arm2 = 0, stray = 0;
};

std::string shown(const ItemChooserControl* chooser) {
  char text[kTextSize];
  itemChooserText(chooser, text, sizeof text);
  return text;
}

std::string saved(PanelControl* control) {
  InstanceMemoryWriter w;
  InstanceMemoryWriter_Init(&w);
  controlHead(control)->ops.save(control, &w.state, 1);
  return w.text;
}

// Reads a control's block as the instance reader hands it over: after its "BEGIN" line.
void load(PanelControl* control, const std::string& text) {
  InstanceMemoryReader r;
  InstanceMemoryReader_Init(&r, text.c_str());
  char line[kInstanceLineSize];
  ASSERT_NE(ReadLine(&r.state, line), nullptr);
  EXPECT_EQ(controlHead(control)->ops.load(control, &r.state), nullptr);
  controlHead(control)->ops.afterLoad(control);
}

TEST_F(Items, NamesWithCopyMarksFindTheirOwnCopy) {
  EXPECT_EQ(itemCopyNumber("box (12) "), 12);
  EXPECT_EQ(itemBaseLength("box (12) "), 3u);
  EXPECT_EQ(itemCopyNumber("(3)"), 1);  // a mark with nothing before it is the name
  EXPECT_EQ(itemCopyNumber("Light (key)"), 1);

  // Each item's own name record finds that very item again.
  for (int index : {boxLid, box, box2, boxAgain, crate, light2, arm1, arm2}) {
    ItemName name{}, object{};
    ItemName_FromItem(&name, id(index));
    ItemName_FromItem(&object, itemBoneObject(id(index)));
    name.item = nullptr;
    EXPECT_EQ(ItemName_Find(&name, &object), id(index)) << host_->host().scene().items[size_t(index)].name;
  }
  ItemName again{};
  ItemName_FromItem(&again, id(boxAgain));
  EXPECT_EQ(again.copyNumber, 3);
  EXPECT_EQ(again.ordinal, 1);

  ItemName n = named(LWI_OBJECT, "box (2)");
  n.copyNumber = itemCopyNumber(n.name);
  EXPECT_EQ(ItemName_Find(&n, nullptr), id(box2));
  n = named(LWI_OBJECT, "box", 1, 9);  // fewer copies than saved: the first
  EXPECT_EQ(ItemName_Find(&n, nullptr), id(box));
  n = named(LWI_OBJECT, "box.lwo");
  EXPECT_EQ(ItemName_Find(&n, nullptr), id(box));
  n = named(LWI_OBJECT, "crate.LWO");
  EXPECT_EQ(ItemName_Find(&n, nullptr), id(crate));
  n = named(LWI_LIGHT, "box");  // names are looked up within their type
  EXPECT_EQ(ItemName_Find(&n, nullptr), nullptr);
  n = named(LWI_OBJECT, "box", 4);
  EXPECT_EQ(ItemName_Find(&n, nullptr), nullptr);

  ItemName bone = named(LWI_BONE, "arm"), object = named(LWI_BONE, "rig (2)", 2);
  EXPECT_EQ(ItemName_Find(&bone, &object), id(arm2));
  EXPECT_EQ(object.item, id(rig2));
  object = named(LWI_OBJECT, "gone");
  EXPECT_EQ(ItemName_Find(&bone, &object), nullptr);

  EXPECT_EQ(display(id(arm2)), "Bone \"arm\" of rig (2)");
  EXPECT_EQ(display(id(stray)), "Mystery Bone stray");
  EXPECT_EQ(display(id(light2)), "Light (2)");
  EXPECT_EQ(display(nullptr), "(none)");
  EXPECT_EQ(display(reinterpret_cast<LWItemID>(uintptr_t(0x7777))), "LW Mystery Item");
  EXPECT_EQ(itemCount(LWI_BONE), 4);  // the stray bone belongs to no object
}

TEST_F(Items, AChooserSavesNamesAndFindsThemAgainInAScene) {
  ItemChooserControl* chooser = itemChooserCreate("CHOSEN", 0, 0, nullptr, 150, true);
  ASSERT_NE(chooser, nullptr);
  EXPECT_EQ(saved(chooser), "");  // nothing chosen: no block at all
  const LWItemID picks[] = {id(boxAgain), id(light2), id(arm2)};
  ASSERT_TRUE(itemChooserSet(chooser, picks, 3));
  EXPECT_EQ(shown(chooser), "1: box (3), 2: Light (2), 3: Bone \"arm\" of rig (2)");
  const std::string text = saved(chooser);
  EXPECT_EQ(text,
            " BEGIN ITEM CHOSEN\r\n"
            "  OBJECT 3 1 7 @box (3)\r\n"
            "  LIGHT 2 1 9 @Light (2)\r\n"
            "  PARENT 2 1 7 @rig (2)\r\n"
            "  BONE 1 1 3 @arm\r\n"
            " END\r\n");

  ItemChooserControl* loaded = itemChooserCreate("CHOSEN", 0, 0, nullptr, 150, true);
  load(loaded, text + "BEGIN ITEM CHOSEN\r\n  CAMERA 1 1 5 @ghost\r\n END\r\n");
  ASSERT_EQ(loaded->count, 3);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(itemChooserItem(loaded, i), picks[i]);

  // An item of another scene: "(none)", and not an error.
  ItemChooserControl* single = itemChooserCreate("ONE", 0, 0, nullptr);
  load(single, "BEGIN ITEM ONE\r\n  CAMERA 1 1 5 @ghost\r\n END\r\n");
  EXPECT_EQ(itemChooserItem(single, 0), nullptr);
  EXPECT_EQ(shown(single), "(none)");
  EXPECT_EQ(saved(single), "");
  for (PanelControl* c : {static_cast<PanelControl*>(chooser), static_cast<PanelControl*>(loaded),
                          static_cast<PanelControl*>(single)})
    ControlDestroy(c);
}

TEST_F(Items, AChooserFollowsRenumberingAndDeletion) {
  ItemChooserControl* chooser = itemChooserCreate("CHOSEN", 0, 0, nullptr, 150, true);
  const LWItemID picks[] = {id(box2), id(light), id(arm1), id(arm2)};
  ASSERT_TRUE(itemChooserSet(chooser, picks, 4));
  // box (2) is renumbered, the light deleted, and the object of the second arm deleted.
  host_->host().scene().items[size_t(box2)].id += 0x100;
  const LWItemID table[] = {picks[0], id(box2), picks[1], nullptr, id(rig2), nullptr, nullptr};
  controlHead(chooser)->ops.changeItems(chooser, table);
  EXPECT_EQ(itemChooserItem(chooser, 0), id(box2));
  EXPECT_EQ(shown(chooser), "1: box (2), 2: (none), 3: Bone \"arm\" of rig, 4: (none)");
  LWItemID used[8] = {};
  ASSERT_EQ(controlHead(chooser)->ops.useItems(chooser, used, 8), 2);
  EXPECT_EQ(used[0], id(box2));
  EXPECT_EQ(used[1], id(arm1));
  EXPECT_EQ(controlHead(chooser)->ops.useItems(chooser, used, 1), 1);
  ControlDestroy(chooser);
}

TEST_F(Items, SelectItemListsByTypeAndOrderAndGivesBackWhatWasPicked) {
  Panel* panel = PanelCreate("Chooser", nullptr, 0);
  ItemChooserControl* chooser = itemChooserCreate("CHOSEN", 100, 40, panel, 150, true);
  const LWItemID first = id(light2);
  ASSERT_TRUE(itemChooserSet(chooser, &first, 1));
  SelectItem* select = selectItemCreate(chooser);
  ASSERT_NE(select, nullptr);
  auto rows = [&] {
    std::vector<std::string> texts;
    for (int32_t r = 0; r < select->list->rowCount; ++r)
      texts.push_back(std::string(select->list->rows[r].columns[0]) + (select->list->rows[r].selected ? "*" : ""));
    return texts;
  };
  // It opens on the type of what is chosen, with it selected.
  EXPECT_EQ(select->shownType, LWI_LIGHT);
  EXPECT_EQ(rows(), (std::vector<std::string>{"Light", "Light (2)*"}));
  const char* counts[] = {"7", "2", "4", "1"};
  for (int i = 0; i < kSelectItemTypeCount; ++i) EXPECT_STREQ(select->counts[i]->text, counts[i]);

  select->type->selection = 2;  // "Bones"
  select->type->onChange(select->type);
  EXPECT_EQ(rows(), (std::vector<std::string>{"Bone \"root\" of rig", "Bone \"arm\" of rig",
                                              "Bone \"root\" of rig (2)", "Bone \"arm\" of rig (2)"}));
  select->sortBones->selection = kSelectItemOrderName;
  select->sortBones->onChange(select->sortBones);
  EXPECT_EQ(rows()[0], "Bone \"arm\" of rig");
  listBoxSelect(select->list, 2, true);
  select->list->onChange(select->list);

  selectItemShow(select, LWI_OBJECT);
  select->sort->selection = kSelectItemOrderName;
  select->sort->onChange(select->sort);
  EXPECT_EQ(rows(), (std::vector<std::string>{"box", "box (2)", "box (3)", "box lid", "crate", "rig", "rig (2)"}));

  // Picks of the other types stand while objects are shown.
  selectItemGiveBack(select);
  EXPECT_EQ(shown(chooser), "1: Light (2), 2: Bone \"arm\" of rig (2)");
  select->clear->onChange(select->clear);
  selectItemGiveBack(select);
  EXPECT_EQ(shown(chooser), "(none)");
  // The orders chosen are kept for the next opening; put them back for other tests.
  select->sort->selection = select->sortBones->selection = kSelectItemOrderHost;
  select->sort->onChange(select->sort);
  selectItemDestroy(select);
  PanelDestroy(panel);
}

TEST(AboutPanel, ShowsTheCallersVersionAndNumbersThatChangeWithEachOpening) {
  std::set<std::pair<long, long>> draws;
  for (long opening = 0; opening < 40; ++opening) {
    long a = 0, b = 0;
    aboutLotteryNumbers(opening, &a, &b);
    EXPECT_TRUE(a >= 1 && a <= kAboutLotteryRange && b >= 1 && b <= kAboutLotteryRange);
    draws.insert({a, b});
  }
  EXPECT_GT(draws.size(), 30u);

  Panel* caller = PanelCreate("Caller", nullptr, 0);
  caller->version = 2.5;
  Panel* about = aboutPanelCreate(caller, 3);
  ASSERT_NE(about, nullptr);
  EXPECT_STREQ(about->title, "About this plugin");
  auto text = [&](const char* name) { return std::string(static_cast<TextControl*>(controlFind(about, name))->text); };
  EXPECT_EQ(text("ABOUT_VERSION").rfind("Version 2.500-", 0), 0u);
  long a = 0, b = 0;
  aboutLotteryNumbers(3, &a, &b);
  EXPECT_EQ(text("ABOUT_LOTTERY"),
            "Today's lucky lottery numbers are " + std::to_string(a) + " and " + std::to_string(b) + ".");
  auto* web = static_cast<TextControl*>(controlFind(about, "ABOUT_WEB"));
  EXPECT_STREQ(web->text, "Visit Our Web Page: ");
  EXPECT_EQ(web->link != 0, aboutReadmePath()[0] != '\0');
  PanelDestroy(about);
  PanelDestroy(caller);
}

}  // namespace
