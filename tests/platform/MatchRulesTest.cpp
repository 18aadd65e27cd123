// The product file: where it is found, which product wins, what the rules
// turn into.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <tinyxml2.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <map>
#include <ostream>
#include <string>

#include "platform/MatchRules.h"
#include "platform/PlatformSandbox.h"
#include "platform/Sysfs.h"

using ::testing::HasSubstr;
using ::testing::Not;
using vyr_platform_test::PlatformSandbox;
using vyr_platform_test::Product;
using vyr_platform_test::ProductFile;

namespace {

constexpr const char *kOdm = "/odm/etc/";
constexpr const char *kVendor = "/vendor/etc/";

class MatchRulesTest : public PlatformSandbox {
protected:
    // Runs the read as the HAL does and returns the configuration.
    std::map<std::string, std::string> Load() {
        mSysfs = new Sysfs(*mHal);
        EXPECT_TRUE(mSysfs->Init());
        std::map<std::string, std::string> config;
        for (const char *key :
             {"a", "b", "c", "motion", "camera", "thp", "posture", "activity_recognition",
              "palmetry", "fusionsense", "foldtype", "multiple_sensors"}) {
            if (mSysfs->HasXmlConfig(key)) {
                config[key] = mSysfs->GetXmlConfig(key);
            }
        }
        return config;
    }

    // The product that wins for `sku` among `products`, by its key "a".
    std::string Winner(const std::string &sku, const std::string &products) {
        if (!sku.empty()) {
            SetSku(sku);
        }
        PutProduct(kVendor, ProductFile(products));
        auto config = Load();
        return config.count("a") != 0 ? config["a"] : "none";
    }

    Sysfs *mSysfs = nullptr;
};

std::string Named(const std::string &name, const std::string &method) {
    return Product(name, method, "<a><item>" + (name.empty() ? "empty" : name) + "</item></a>");
}

TEST_F(MatchRulesTest, BrokenOdmFileFallsThroughToVendorAndNamesTheBareFile) {
    SetSku("P1");
    PutProduct(kOdm, "<config><product>");  // not closed
    PutProduct(kVendor, ProductFile(Product("P1", "match", "<a><item>vendor</item></a>")));

    EXPECT_EQ(Load(), (std::map<std::string, std::string>{{"a", "vendor-"}}));

    std::string log = Logcat();
    EXPECT_THAT(log, HasSubstr("loading /odm/etc/tolvi_vyr_product_config.xml"));
    EXPECT_THAT(log, HasSubstr("loading /vendor/etc/tolvi_vyr_product_config.xml"));
    auto failures = LinesWith("fail");
    ASSERT_EQ(failures.size(), 1u);
    EXPECT_THAT(failures[0], HasSubstr(" E vyr_tolvi: "));
    EXPECT_THAT(failures[0], HasSubstr("load tolvi_vyr_product_config.xml fail"));
    EXPECT_THAT(failures[0], Not(HasSubstr("/etc/")));
    EXPECT_THAT(log, HasSubstr("tester, 2026-01-02, "));
    EXPECT_THAT(log, HasSubstr("version info: date(2026-01-02)"));
}

TEST_F(MatchRulesTest, OdmFileHidesVendorFile) {
    SetSku("P1");
    PutProduct(kOdm, ProductFile(Product("P1", "", "<a><item>odm</item></a>")));
    PutProduct(kVendor, ProductFile(Product("P1", "", "<a><item>vendor</item></a><b/>")));

    EXPECT_EQ(Load(), (std::map<std::string, std::string>{{"a", "odm-"}}));
    EXPECT_THAT(Logcat(), Not(HasSubstr("loading /vendor/etc/")));
    // A missing method reads as "match".
    EXPECT_EQ(LinesWith("no mMethod, used default match").size(), 1u);
    EXPECT_THAT(Logcat(), HasSubstr("start used method: match"));
}

TEST_F(MatchRulesTest, MissingEmptyOrBrokenFileLeavesConfigEmpty) {
    SetSku("P1");
    const char *contents[] = {"", "not xml at all", "<!-- only a comment -->", nullptr};
    for (const char *content : contents) {
        SCOPED_TRACE(content == nullptr ? "(no file)" : content);
        if (content != nullptr) {
            PutProduct(kVendor, content);
        }
        ASSERT_TRUE(truncate(LogcatPath().c_str(), 0) == 0 || errno == ENOENT);
        EXPECT_TRUE(Load().empty());
        EXPECT_EQ(LinesWith("open xml error").size(), 1u);
        EXPECT_EQ(LinesWith("can't get the match rules.").size(), 1u);
        EXPECT_EQ(LinesWith("load tolvi_vyr_product_config.xml fail").size(),
                  content != nullptr && std::string(content).find("comment") != std::string::npos
                      ? 1u
                      : 2u);
        unlink(Real(std::string(kVendor) + MatchRules::kFileName).c_str());
    }
}

TEST_F(MatchRulesTest, FirstMatchingProductWinsInFileOrder) {
    // ABCD: "ABC" by starts_with comes first, so "AB" by match is not looked at.
    EXPECT_EQ(Winner("ABCD", Named("ABC", "starts_with") + Named("AB", "match")), "ABC-");
    EXPECT_THAT(Logcat(), HasSubstr("ABCD try to macth ABC"));
    EXPECT_THAT(Logcat(), HasSubstr("start get rule of ABC"));
    EXPECT_THAT(Logcat(), Not(HasSubstr("try to macth AB\n")));
}

TEST_F(MatchRulesTest, LaterProductsAddNoKeysAfterTheMatch) {
    SetSku("X");
    PutProduct(kVendor, ProductFile(Product("X", "match", "<a><item>1</item></a>") +
                                    Product("X", "match", "<b><item>2</item></b>") +
                                    Product("any", "skip", "<c><item>3</item></c>")));
    EXPECT_EQ(Load(), (std::map<std::string, std::string>{{"a", "1-"}}));
}

struct MethodCase {
    const char *sku;
    const char *name;
    const char *method;
    bool matches;
};

void PrintTo(const MethodCase &c, std::ostream *os) {
    *os << "'" << c.sku << "' " << c.method << " '" << c.name << "'";
}

std::string CaseName(const ::testing::TestParamInfo<MethodCase> &info) {
    std::string name = std::string(info.param.method) + "_" + std::to_string(info.index);
    for (char &c : name) {
        c = isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    }
    return name;
}

class MatchMethodTest : public MatchRulesTest, public ::testing::WithParamInterface<MethodCase> {};

TEST_P(MatchMethodTest, DecidesAsSpecified) {
    const MethodCase &c = GetParam();
    EXPECT_EQ(Winner(c.sku, Named(c.name, c.method)),
              c.matches ? std::string(c.name) + "-" : "none");
}

INSTANTIATE_TEST_SUITE_P(Methods, MatchMethodTest,
                         ::testing::Values(MethodCase{"VYRFOLD", "VYRFOLD", "match", true},
                                           MethodCase{"VYRFOLD", "VYRFOL", "match", false},
                                           MethodCase{"VYRFOLD", "VYRFOLDX", "match", false},
                                           MethodCase{"VYRFOLD", "RFO", "include", true},
                                           MethodCase{"VYRFOLD", "FOLDX", "include", false},
                                           MethodCase{"", "X", "include", false},
                                           MethodCase{"VYRFOLD", "VYR", "starts_with", true},
                                           MethodCase{"VYRFOLD", "FOLD", "starts_with", false},
                                           MethodCase{"VYR", "VYRFOLD", "starts_with", false},
                                           MethodCase{"VYRFOLD", "VYRFOLD", "Match", false},
                                           MethodCase{"VYRFOLD", "VYRFOLD", "match ", false},
                                           MethodCase{"VYRFOLD", "VYRFOLD", "regex", false},
                                           MethodCase{"VYRFOLD", "other", "skip", true}),
                         CaseName);

TEST_F(MatchRulesTest, UnknownMethodNeverMatchesAndSaysNothingMore) {
    EXPECT_EQ(Winner("P", Named("P", "regex")), "none");
    EXPECT_EQ(LinesWith("start used method: regex").size(), 1u);
    EXPECT_TRUE(LinesWith("start get rule").empty());
}

TEST_F(MatchRulesTest, SkipPlacedLastIsTheDefault) {
    std::string products = Named("P1", "match") + Named("default", "skip");
    EXPECT_EQ(Winner("P1", products), "P1-");
}

TEST_F(MatchRulesTest, SkipPlacedLastServesOtherPhones) {
    EXPECT_EQ(Winner("P2", Named("P1", "match") + Named("default", "skip")), "default-");
}

TEST_F(MatchRulesTest, EmptyProductNameIsSkippedBeforeItsMethodIsRead) {
    EXPECT_EQ(Winner("P", Named("", "skip") + Named("P", "match")), "P-");
    EXPECT_TRUE(LinesWith("start used method: skip").empty());
    int emptyName = 0;
    for (const std::string &line : LinesWith("P try to macth ")) {
        emptyName += line.ends_with("try to macth ") ? 1 : 0;
    }
    EXPECT_EQ(emptyName, 1);
}

TEST_F(MatchRulesTest, ProductWalkTakesAnySiblingAfterTheFirstProduct) {
    // The walk starts at the first "product" and then visits every sibling.
    EXPECT_EQ(Winner("P", "<other><product_name>x</product_name></other>" + Named("Q", "match") +
                              "<variant><product_name>P</product_name><rule><a><item>v</item>"
                              "</a></rule></variant>"),
              "v-");
}

TEST_F(MatchRulesTest, ProductDeviceStandsInForMissingSku) {
    ASSERT_EQ(__system_property_set("ro.product.device", "DEV1"), 0);
    EXPECT_EQ(Winner("", Named("DEV1", "match")), "DEV1-");
    EXPECT_THAT(Logcat(), HasSubstr("Project name\t: DEV1"));
}

TEST_F(MatchRulesTest, RuleChildrenBecomeKeysWithJoinedItems) {
    SetSku("P");
    PutProduct(kVendor, ProductFile(Product("P", "match",
                                            "<a><item>6</item><item>5</item></a>"
                                            "<b></b>"  // no items
                                            "<c>ignored text<item><![CDATA[]]></item><item>x</item>"
                                            "<other>y</other><item>z</item></c>"  // empty item
                                            "<motion><item>MOTION_TYPE_FLIP</item></motion>"
                                            "<motion><item>MOTION_TYPE_ROTATION</item></motion>")));
    EXPECT_EQ(Load(),
              (std::map<std::string, std::string>{
                  {"a", "6-5-"}, {"b", "-"}, {"c", "x-z-"}, {"motion", "MOTION_TYPE_ROTATION-"}}));
    EXPECT_FALSE(mSysfs->HasXmlConfig("missing"));
    EXPECT_EQ(mSysfs->GetXmlConfig("missing"), "");
    // Init lists the configuration in key order.
    auto lines = LinesWith(" config\t: ");
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_THAT(lines[0], HasSubstr("a config\t: 6-5"));
    EXPECT_THAT(lines[1], HasSubstr("b config\t: "));
    EXPECT_THAT(lines[3], HasSubstr("motion config\t: MOTION_TYPE_ROTATION"));
}

TEST_F(MatchRulesTest, MatchingProductWithoutRuleGivesNoKeys) {
    EXPECT_EQ(Winner("P", "<product><product_name>P</product_name></product>"), "none");
}

TEST_F(MatchRulesTest, VersionInfoIsOptional) {
    SetSku("P");
    PutProduct(kVendor, "<config>" + Named("P", "match") + "</config>");
    EXPECT_EQ(Load().size(), 1u);
    EXPECT_THAT(Logcat(), HasSubstr("version info: date()"));

    tinyxml2::XMLDocument doc;
    ASSERT_EQ(doc.Parse("<r><version_info><latest_update_author>me</latest_update_author>"
                        "</version_info></r>"),
              tinyxml2::XML_SUCCESS);
    Sysfs sysfs(*mHal);
    MatchRules rules(*mHal, sysfs);
    rules.GetVersion(doc.FirstChildElement());
    EXPECT_EQ(rules.GetAuthor(), "me");
    EXPECT_EQ(rules.GetDate(), "");
    EXPECT_THAT(Logcat(), HasSubstr("me, , "));
}

TEST_F(MatchRulesTest, NullNodesAreLoggedNotFollowed) {
    Sysfs sysfs(*mHal);
    MatchRules rules(*mHal, sysfs);
    std::string out = "kept";
    rules.GetItem(nullptr, out);
    rules.GetVersion(nullptr);
    EXPECT_EQ(rules.GetChildText(nullptr, "x"), "");
    EXPECT_EQ(out, "kept");
    EXPECT_EQ(LinesWith("node is nullptr").size(), 3u);
}

TEST_F(MatchRulesTest, GetItemAppendsToWhatTheCallerHolds) {
    tinyxml2::XMLDocument doc;
    ASSERT_EQ(doc.Parse("<k><item>b</item><item>c</item></k>"), tinyxml2::XML_SUCCESS);
    Sysfs sysfs(*mHal);
    MatchRules rules(*mHal, sysfs);
    std::string out = "a";
    rules.GetItem(doc.FirstChildElement(), out);
    EXPECT_EQ(out, "a-b-c");
}

// An item element without text is never stepped over: the walk stays on it
// for ever. Product files must give every item a text; this pins the
// behaviour down in a child process that an alarm ends.
TEST_F(MatchRulesTest, ItemWithoutTextKeepsTheWalkForEver) {
    for (const char *items : {"<item/>", "<item>a</item><item></item><item>b</item>",
                              "<item>   </item>", "<item><sub>x</sub></item>"}) {
        SCOPED_TRACE(items);
        tinyxml2::XMLDocument doc;
        ASSERT_EQ(doc.Parse((std::string("<k>") + items + "</k>").c_str()), tinyxml2::XML_SUCCESS);
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            itimerval timer{};
            timer.it_value.tv_usec = 300000;
            setitimer(ITIMER_REAL, &timer, nullptr);  // SIGALRM ends the walk
            Sysfs sysfs(*mHal);
            MatchRules rules(*mHal, sysfs);
            std::string out;
            rules.GetItem(doc.FirstChildElement(), out);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), SIGALRM);
    }
}

// The product file of the simulated phone, as the sandbox installs it.
class DefaultProductTest : public MatchRulesTest {
protected:
    void SetUp() override {
        MatchRulesTest::SetUp();
        mXml = vyrtest::ReadText(std::string(VYR_SOURCE_DIR) +
                                 "/sim/product/tolvi_vyr_product_config.xml");
        ASSERT_FALSE(mXml.empty());
        PutProduct(kVendor, mXml);
    }
    std::string mXml;
};

TEST_F(DefaultProductTest, EveryItemHoldsText) {
    tinyxml2::XMLDocument doc;
    ASSERT_EQ(doc.Parse(mXml.c_str()), tinyxml2::XML_SUCCESS);
    int items = 0;
    for (auto *product = doc.FirstChildElement()->FirstChildElement("product"); product != nullptr;
         product = product->NextSiblingElement("product")) {
        auto *rule = product->FirstChildElement("rule");
        ASSERT_NE(rule, nullptr);
        for (auto *key = rule->FirstChildElement(); key != nullptr;
             key = key->NextSiblingElement()) {
            for (auto *item = key->FirstChildElement("item"); item != nullptr;
                 item = item->NextSiblingElement("item"), ++items) {
                ASSERT_NE(item->GetText(), nullptr) << key->Value();
                EXPECT_STRNE(item->GetText(), "") << key->Value();
            }
        }
    }
    EXPECT_GT(items, 20);
    // The fuzzer starts from the same file.
    EXPECT_EQ(vyrtest::ReadText(std::string(VYR_SOURCE_DIR) +
                                "/fuzz/corpus/product_config/tolvi_vyr_product_config.xml"),
              mXml);
}

TEST_F(DefaultProductTest, FoldablePhoneHasEveryFeature) {
    SetSku("VYRFOLD");
    auto config = Load();
    for (const char *key : {"activity_recognition", "thp", "motion", "camera", "posture",
                            "palmetry", "fusionsense", "foldtype", "multiple_sensors"}) {
        EXPECT_EQ(config.count(key), 1u) << key;
    }
    EXPECT_THAT(config["motion"], HasSubstr("MOTION_TYPE_BACK_TAP-"));
    EXPECT_THAT(config["foldtype"], HasSubstr("FOLD_TYPE_IN-"));
    EXPECT_THAT(config["camera"], HasSubstr("CAMERA_FACE_ID-"));
    EXPECT_THAT(config["thp"], HasSubstr("THP_TYPE_INPUT-"));
    EXPECT_THAT(config["activity_recognition"], HasSubstr("AR_ACTIVITY_TYPE_HAND_HELD-"));
}

TEST_F(DefaultProductTest, OtherPhonesGetTheDefaultProduct) {
    SetSku("SOMEPHONE");
    auto config = Load();
    ASSERT_EQ(config.size(), 1u);
    EXPECT_EQ(config.count("motion"), 1u);
}

}  // namespace
