// What a new PMT changed: entries gone and added, per kind, as marked table rows.
#include "catalogue_changes.h"

#include <gtest/gtest.h>

#include "catalogue_table.h"

namespace {

using trevalo_cli::Catalogue;
using trevalo_cli::CatalogueChanges;
using trevalo_cli::ComponentKind;

Json::Value Entry(int pid, const char* lang = "eng") {
    Json::Value entry(Json::objectValue);
    entry["pid"] = pid;
    entry["comp_tag"] = 255;
    entry["encoding"] = 0;
    entry["encrypted"] = false;
    entry["lang"] = lang;
    return entry;
}

TEST(CatalogueChanges, ListsGoneAndAddedEntriesWithTheirPlaces) {
    Catalogue before;
    before.audio = {Entry(0x101), Entry(0x102, "deu")};
    Catalogue after;
    after.audio = {Entry(0x101), Entry(0x102, "fra"), Entry(0x103)};
    const auto changes = CatalogueChanges(before, after);
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(changes[0].mark, '-');
    EXPECT_EQ(changes[0].index, 1u);
    EXPECT_EQ(changes[0].entry["lang"], "deu");
    EXPECT_EQ(changes[1].mark, '+');
    EXPECT_EQ(changes[1].index, 1u);
    EXPECT_EQ(changes[2].mark, '+');
    EXPECT_EQ(changes[2].index, 2u);
    EXPECT_EQ(FormatCatalogueTable(changes),
              "  KIND   #  PID           TAG  ENCODING  LANG  FLAGS\n"
              "- audio  1  258 (0x0102)  -    AC-3 (0)  deu\n"
              "+ audio  1  258 (0x0102)  -    AC-3 (0)  fra\n"
              "+ audio  2  259 (0x0103)  -    AC-3 (0)  eng\n");
}

TEST(CatalogueChanges, AMovedEntryIsNoChangeAndTwinsCountOneByOne) {
    Catalogue before;
    before.audio = {Entry(0x101), Entry(0x102)};
    before.subtitles = {Entry(0x200)};
    Catalogue after;
    after.audio = {Entry(0x102), Entry(0x101)};
    after.subtitles = {Entry(0x200), Entry(0x200)};
    const auto changes = CatalogueChanges(before, after);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0].mark, '+');
    EXPECT_EQ(changes[0].kind, ComponentKind::kSubtitle);
    EXPECT_EQ(changes[0].index, 1u);
    EXPECT_TRUE(CatalogueChanges(after, after).empty());
}

TEST(CatalogueChanges, AnEntryOfAnotherKindIsAnotherEntry) {
    Catalogue before;
    before.video = {Entry(0x101)};
    Catalogue after;
    after.audio = {Entry(0x101)};
    const auto changes = CatalogueChanges(before, after);
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(changes[0].kind, ComponentKind::kVideo);
    EXPECT_EQ(changes[0].mark, '-');
    EXPECT_EQ(changes[1].kind, ComponentKind::kAudio);
    EXPECT_EQ(changes[1].mark, '+');
}

}  // namespace
