// Rules files and their checks, and the comparison with an earlier document.
#include <gtest/gtest.h>

#include <sstream>

#include "orka_nvme.h"
#include "support/brantix_run.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

// A document from "name=value" entries separated by ";".
Json::Value Document(const std::string& entries) {
    orka::ExpandParameterCatalogue();
    Json::Value info;
    std::stringstream stream(entries);
    for (std::string entry; std::getline(stream, entry, ';');) {
        const auto equals = entry.find('=');
        orka::AddParameter(info["nvme"]["parameters"], entry.substr(0, equals), entry.substr(equals + 1));
    }
    return info;
}

// The `fields` of every record in `list` joined by "|", a line each.
std::string Records(const Json::Value& list, const std::vector<std::string>& fields) {
    std::string text;
    for (const auto& record : list) {
        for (const auto& field : fields) {
            text += record[field].asString() + (&field == &fields.back() ? "\n" : "|");
        }
    }
    return text;
}

// The kind and text of what LoadRulesFile throws, "" when it does not.
std::string LoadError(const std::string& path, Json::Value& rules) {
    try {
        orka::LoadRulesFile(path, rules);
    } catch (const orka::UsageError& error) {
        return std::string("usage: ") + error.what();
    } catch (const orka::OrkaError& error) {
        return std::string("orka: ") + error.what();
    }
    return "";
}

TEST(Rules, CheckRuleOperatorsUnitsAndNumbers) {
    const Rows cases = {
        // operator, limit, value, message ("" for a pass)
        {"<", "90 %", "90 %", " Failed rule 'P < 90 %' with value '90 %'"},
        {"<=", "70 C", "45 C (318 K)", ""},
        {"<=", "70 C", "45", " Failed rule 'P <= 70 C' units do not match. Value unit: "},
        {"=", "1,000", "1000", ""},
        {"!=", "1,000", "1000", " Failed rule 'P != 1,000' with value '1000'"},
        {">=", "10", "9.5", " Failed rule 'P >= 10' with value '9.5'"},
        {">", "9", "9.5", ""},
        {">", "9", "No", " Failed rule 'P > 9' parameters are not numbers"},
        {"match", "A B", "A B ", " Failed rule 'P match A B' does not match value 'A B '"},
        {"not-match", "Yes", "Yes", " Failed rule 'P not-match Yes' matches value 'Yes'"},
        {"~", "1", "1", " Failed rule for unknown operator: 'P' ~ 1"},
    };
    for (const auto& row : cases) {
        std::string message = "old";
        const bool passed = orka::CheckRule("P", row[0], row[1], row[2], message);
        EXPECT_EQ(passed ? "" : message, row[3]);
    }
}

TEST(Rules, LoadRulesFileReportsEveryBadRuleAndVerifyAppliesTheGoodOnes) {
    testing_support::TempFolder folder("rules");
    Json::Value rules;
    Document("");  // the catalogue expanded
    const std::string good = folder.Write("good.rules.json", R"({"rules": ["'Percentage Used' <  90 % ",
        "'Temperature Sensor #' <= 70 C", "'Model' match A B"]})");
    ASSERT_EQ(LoadError(good, rules), "");

    // A "#" rule applies to each numbered parameter, and to none when the sample has none; a rule's
    // parameter missing from the sample fails.
    Json::Value info = Document("Percentage Used=7 %;Temperature Sensor 1=47 C;Temperature Sensor 8=75 C");
    EXPECT_FALSE(orka::VerifyNvmeInfo(info, rules));
    EXPECT_EQ(
        Records(info["rule violations"], {"name", "value", "msg", "rule operator", "rule limit", "rule"}),
        "Temperature Sensor 8|75 C| Failed rule 'Temperature Sensor 8 <= 70 C' with value '75 C'|<=|70 C|"
        "'Temperature Sensor #' <= 70 C\n"
        "Model|N/A|Failed rule for unknown parameter: Model|match|A B|'Model' match A B\n");

    const std::string bad =
        folder.Write("bad.rules.json", R"({"rules": ["Percentage Used < 90", "'Model' match",
        "'Power Cycles' == 5", "'Interrupt Vector # Coalescing Disable (CD)' = 0", 7, "'Model' = 1"]})");
    EXPECT_EQ(LoadError(bad, rules),
              "usage: Invalid rule file: " + bad + "\n\n" +
                  " Rule Error: Did not find quoted parameter name in rule: Percentage Used < 90\n"
                  " Rule Error: Did not find operator in rule: 'Model' match\n"
                  " Rule Error: Did not find limit in rule: 'Model' match\n"
                  " Rule Error: Unknown operator '' in rule: 'Model' match\n"
                  " Rule Error: Unknown operator '==' in rule: 'Power Cycles' == 5\n"
                  " Rule Error: Unknown parameter 'Interrupt Vector # Coalescing Disable (CD)' in rule: "
                  "'Interrupt Vector # Coalescing Disable (CD)' = 0\n"
                  " Rule Error: Rule 5 is not a text\n");
    const std::string rootless = folder.Write("rootless.rules.json", R"({"rule": []})");
    EXPECT_EQ(LoadError(rootless, rules),
              "orka: Invalid rules file, missing JSON 'rules' root member: " + rootless);
    EXPECT_EQ(LoadError("", rules), "");
    EXPECT_EQ(rules["rules"].size(), 3u);  // left as it was
}

TEST(Compare, DeltasAndOrder) {
    const std::string most =
        "340,282,366,920,938,463,463,374,607,431,768,211,455";  // the largest 128-bit counter
    const Rows cases = {
        // value, compare value, delta, value >= compare value ("y"/"n")
        {"5 Min", "10 Min", "-5", "n"},      {most, "0", most, "y"},
        {"0", most, "-" + most, "n"},        {"0x10", "0x01", "15", "y"},
        {" 1,024 (GB)", "1,000", "24", "y"}, {"1.5 GB", "1.25 GB", "0.25", "y"},
        {"45 C", "45 F", "Mismatch", "n"},   {"1.4.0", "1.3.0", "Mismatch", "n"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(orka::GetDelta(row[0], row[1]) + (orka::GreaterEqual(row[0], row[1]) ? " y" : " n"),
                  row[2] + " " + row[3]);
    }
}

// Under "default": a parameter gone from the compare file and a changed one fail, a counter that
// grew and an ignored one are listed only; the full comparison of each case runs end to end.
TEST(Compare, MismatchListsAndCompareTypes) {
    const Json::Value earlier =
        Document("Serial Number (SN)=S1;Model=M1;Power Cycles=10;Data Units Read=1,000;Host Timestamp=1");
    Json::Value info = Document(
        "Serial Number (SN)=S1;Model=M2;Power Cycles=10;Data Units Read=1,500;Host Timestamp=2;Firmware "
        "Revision (FR)=F1");
    EXPECT_FALSE(orka::CompareNvmeInfo(earlier, info, "default"));
    EXPECT_EQ(
        Records(info["compare mismatches"],
                {"name", "value", "compare_value", "compare_type", "delta", "message"}),
        "Firmware Revision (FR)|F1||exact|Compare value missing|'Firmware Revision (FR)' parameter missing "
        "in "
        "compare file\nModel|M2|M1|exact|Mismatch|'Model' value 'M2' does not match compare value 'M1'\n");
    EXPECT_EQ(Records(info["all mismatches"], {"name", "compare_type", "delta"}),
              "Data Units Read|counter|500\nFirmware Revision (FR)|exact|Compare value missing\n"
              "Host Timestamp|ignore|1\nModel|exact|Mismatch\n");
    // Against another drive's document, counters are not compared.
    info = Document("Serial Number (SN)=S2;Data Units Read=1,500");
    EXPECT_FALSE(orka::CompareNvmeInfo(earlier, info, "default"));
    EXPECT_EQ(Records(info["all mismatches"], {"name", "compare_type", "delta"}),
              "Data Units Read|ignore|500\nSerial Number (SN)|exact|Mismatch\n");
    // Under "firmware" a new firmware revision is no mismatch.
    info = Document("Serial Number (SN)=S1;Firmware Revision (FR)=F2");
    EXPECT_TRUE(
        orka::CompareNvmeInfo(Document("Serial Number (SN)=S1;Firmware Revision (FR)=F1"), info, "firmware"));
    EXPECT_EQ(Records(info["all mismatches"], {"name", "compare_type"}), "Firmware Revision (FR)|ignore\n");
}

}  // namespace
