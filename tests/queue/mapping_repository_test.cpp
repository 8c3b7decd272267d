#include "quernlight/queue/mapping_repository.hpp"

#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::instant;
using test::runTask;

constexpr const char* bundle = "example.lantern";

class MappingRepositoryTest : public test::QueueFixture {
  protected:
    static AppMapping fullMapping() {
        return {.bundleID = bundle,
                .appID = randomUuid(),
                .appName = "Lantern",
                .repoPath = "/code/lantern",
                .worktreeRootPath = "/trees/lantern",
                .baseBranch = "develop",
                .codexProfile = "careful"};
    }

    void save(const AppMapping& mapping, const std::string& time = "2026-03-04T05:06:07Z") {
        runTask(repository.upsert(mapping, instant(time)));
    }

    void saveNamed(const std::string& appName) {
        save({.bundleID = "example." + appName, .appName = appName});
    }

    std::optional<AppMapping> saved() { return runTask(repository.mapping(bundle)); }

    SQLValue column(const std::string& name) {
        return value("SELECT " + name + " AS value FROM app_mappings");
    }

    void set(const std::string& name, const SQLValue& changed) {
        execute("UPDATE app_mappings SET " + name + " = ?", {changed});
    }

    const MappingRepository repository{database};
};

TEST_F(MappingRepositoryTest, AMappingIsReadAsItWasSaved) {
    const AppMapping mapping = fullMapping();
    save(mapping);
    EXPECT_EQ(saved(), mapping);
}

TEST_F(MappingRepositoryTest, AMappingWithoutOptionalFieldsIsReadAsItWasSaved) {
    const AppMapping mapping{.bundleID = bundle, .appName = "Lantern", .repoPath = "/code/lantern"};
    save(mapping);
    EXPECT_EQ(saved(), mapping);
    EXPECT_EQ(column("app_id"), SQLValue::null());
}

TEST_F(MappingRepositoryTest, AnUnknownBundleHasNoMapping) {
    EXPECT_EQ(saved(), std::nullopt);
}

TEST_F(MappingRepositoryTest, SavingTwiceKeepsOneRowWithTheTimeOfTheFirstSave) {
    save(fullMapping(), "2026-03-04T05:06:07Z");
    save(fullMapping(), "2026-03-05T05:06:07Z");
    EXPECT_EQ(rows("SELECT * FROM app_mappings").size(), 1U);
    EXPECT_EQ(column("created_at"), SQLValue::text("2026-03-04T05:06:07.000Z"));
    EXPECT_EQ(column("updated_at"), SQLValue::text("2026-03-05T05:06:07.000Z"));
}

TEST_F(MappingRepositoryTest, ASecondSaveReplacesEveryOtherColumn) {
    save(fullMapping());
    const AppMapping changed{.bundleID = bundle,
                             .appID = randomUuid(),
                             .appName = "Torch",
                             .repoPath = "/code/torch",
                             .worktreeRootPath = "/trees/torch",
                             .baseBranch = "trunk",
                             .codexProfile = "swift"};
    save(changed);
    EXPECT_EQ(saved(), changed);
}

TEST_F(MappingRepositoryTest, SavingWithoutAWorktreeRootOrAppClearsWhatWasStored) {
    save(fullMapping());
    AppMapping cleared = fullMapping();
    cleared.worktreeRootPath = std::nullopt;
    cleared.appID = std::nullopt;
    save(cleared);
    EXPECT_EQ(column("worktree_root_path"), SQLValue::null());
    EXPECT_EQ(column("app_id"), SQLValue::null());
}

TEST_F(MappingRepositoryTest, AnAppIDThatIsNoUuidReadsAsAbsent) {
    save(fullMapping());
    execute("UPDATE app_mappings SET app_id = 'no uuid'");
    EXPECT_EQ(saved()->appID, std::nullopt);
    execute("UPDATE app_mappings SET app_id = x'00'");
    EXPECT_EQ(saved()->appID, std::nullopt);
}

TEST_F(MappingRepositoryTest, ARequiredColumnThatIsNullOrNoTextIsAMissingColumn) {
    const char* columns = "(bundle_id, app_name, repo_path, base_branch, codex_profile)";
    execute("DROP TABLE app_mappings");
    execute(std::string("CREATE TABLE app_mappings ") + columns);
    execute("INSERT INTO app_mappings VALUES ('example.lantern', 'Lantern', '/code', 'main', 'default')");
    for (const char* required : {"bundle_id", "app_name", "repo_path", "base_branch", "codex_profile"}) {
        const SQLValue intact = column(required);
        for (const SQLValue& unusable : {SQLValue::null(), SQLValue::integer(7)}) {
            set(required, unusable);
            const auto error = test::databaseErrorOf([&] { runTask(repository.allMappings()); });
            EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::missingColumn, required));
        }
        set(required, intact);
    }
    EXPECT_EQ(saved(), (AppMapping{.bundleID = bundle, .appName = "Lantern", .repoPath = "/code"}));
}

TEST_F(MappingRepositoryTest, AMappingLiesInItsNineColumns) {
    AppMapping mapping = fullMapping();
    mapping.appID = parseUuid("3f2a9c10-aaaa-bbbb-cccc-ddddeeeeffff");
    save(mapping, "2026-03-04T05:06:07.89Z");
    const SQLValue time = SQLValue::text("2026-03-04T05:06:07.890Z");
    const Row expected{{"bundle_id", SQLValue::text(bundle)},
                       {"app_id", SQLValue::text("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF")},
                       {"app_name", SQLValue::text("Lantern")},
                       {"repo_path", SQLValue::text("/code/lantern")},
                       {"worktree_root_path", SQLValue::text("/trees/lantern")},
                       {"base_branch", SQLValue::text("develop")},
                       {"codex_profile", SQLValue::text("careful")},
                       {"created_at", time},
                       {"updated_at", time}};
    EXPECT_EQ(rows("SELECT * FROM app_mappings"), std::vector<Row>{expected});
}

TEST_F(MappingRepositoryTest, AMappingIsSavedAtTheCurrentInstantUnlessSaid) {
    const Instant before = currentInstant();
    runTask(repository.upsert(fullMapping()));
    const Instant saved = instant(*column("updated_at").asText());
    EXPECT_GE(saved, before);
    EXPECT_LE(saved, currentInstant());
    EXPECT_EQ(column("created_at"), column("updated_at"));
}

TEST_F(MappingRepositoryTest, AMappingOfOneBundleLeavesTheOthersAlone) {
    save(fullMapping());
    const auto before = saved();
    saveNamed("other");
    runTask(repository.remove("example.other"));
    EXPECT_EQ(saved(), before);
}

TEST_F(MappingRepositoryTest, AnEmptyTableYieldsAnEmptyList) {
    EXPECT_TRUE(runTask(repository.allMappings()).empty());
}

TEST_F(MappingRepositoryTest, MappingsAreListedByNameWithUpperCaseFirst) {
    saveNamed("beacon");
    saveNamed("Zebra");
    saveNamed("Anchor");
    std::string names;
    for (const AppMapping& mapping : runTask(repository.allMappings())) {
        names += mapping.appName + " ";
    }
    EXPECT_EQ(names, "Anchor Zebra beacon ");
}

TEST_F(MappingRepositoryTest, ARemovedMappingIsGoneAndAnUnknownBundleIsNoError) {
    save(fullMapping());
    runTask(repository.remove(bundle));
    EXPECT_EQ(saved(), std::nullopt);
    EXPECT_NO_THROW(runTask(repository.remove(bundle)));
}

}  // namespace
}  // namespace quernlight
