// The keys a command file may hold and the options of the command line, each described once: the
// command file check, the command line parser, the usage texts' tests and the documentation's tests
// all read these tables.
#pragma once

#include <string>
#include <vector>

namespace orka {

// What a setting's value must be.
enum class SettingType {
    boolean,
    number,  // an unsigned number that fits in 32 bits
    count,   // a number of 1 or more
    text,
    object,
};

// The command types as bits, so that one key can belong to several.
constexpr unsigned int READ_COMMAND = 1;
constexpr unsigned int SELF_TEST_COMMAND = 2;
constexpr unsigned int SANITIZE_COMMAND = 4;
constexpr unsigned int ALL_COMMANDS = READ_COMMAND | SELF_TEST_COMMAND | SANITIZE_COMMAND;

struct CommandFileKey {
    std::string name;
    SettingType type;
    unsigned int commands;  // the command types that read it
    bool required;          // in each of those command types
};

// Every key of every command type, in the order in which their faults are reported.
inline const std::vector<CommandFileKey>& CommandFileKeys() {
    static const std::vector<CommandFileKey> keys = [] {
        using T = SettingType;
        constexpr unsigned int OPERATIONS = SELF_TEST_COMMAND | SANITIZE_COMMAND;
        std::vector<CommandFileKey> list = {
            {"command type", T::text, ALL_COMMANDS, true},
            {"short description", T::text, ALL_COMMANDS, true},
            {"high priority", T::boolean, ALL_COMMANDS, true},
            {"high resolution timer", T::boolean, ALL_COMMANDS, true},
            {"common", T::object, ALL_COMMANDS, false},
            {"log hex data", T::boolean, READ_COMMAND, true},
            {"read system data", T::boolean, READ_COMMAND, true},
            {"read extended system data", T::boolean, READ_COMMAND, true},
            {"read identify controller", T::boolean, READ_COMMAND, true},
            {"read identify namespace", T::boolean, READ_COMMAND, true},
        };
        const auto hex = [](unsigned int id) {
            const char* digits = "0123456789ABCDEF";
            return std::string{digits[id >> 4], digits[id & 15], 'h'};
        };
        // Feature 17h is known but not required: drives of the first versions have no such feature.
        for (unsigned int id = 0x01; id <= 0x18; ++id) {
            list.push_back({"read feature " + hex(id), T::boolean, READ_COMMAND, id != 0x17});
        }
        for (unsigned int id = 0x01; id <= 0x10; ++id) {
            list.push_back({"read log page " + hex(id), T::boolean, READ_COMMAND, true});
        }
        list.insert(list.end(), {
                                    {"samples", T::count, READ_COMMAND, true},
                                    {"interval in ms", T::number, READ_COMMAND, true},
                                    {"display sample rate", T::number, READ_COMMAND, true},
                                    {"log sample rate", T::number, READ_COMMAND, true},
                                    {"compare type", T::text, READ_COMMAND, true},
                                    {"compare file", T::text, READ_COMMAND, true},
                                    {"rules file", T::text, READ_COMMAND, true},
                                    {"fail limit", T::number, READ_COMMAND, true},
                                    {"metrics file", T::text, READ_COMMAND, false},
                                    {"display sample interval in sec", T::number, OPERATIONS, true},
                                    {"extended self-test", T::boolean, SELF_TEST_COMMAND, true},
                                    {"abort time", T::number, SELF_TEST_COMMAND, true},
                                    {"sanitize type", T::text, SANITIZE_COMMAND, true},
                                    {"read command times", T::boolean, OPERATIONS, true},
                                    {"read smart data", T::boolean, OPERATIONS, true},
                                });
        return list;
    }();
    return keys;
}

// How a command line option is handled.
enum class OptionKind {
    flag,     // takes no value
    text,     // takes a value as it is
    number,   // takes an unsigned number; -1 counts as not given
    count,    // takes a number of 1 or more; -1 counts as not given
    request,  // ends parsing: help or usage
};

struct CommandLineOption {
    std::string short_name;  // empty when there is none
    std::string long_name;   // empty when there is none
    OptionKind kind;
    // The command file key whose value the option replaces (a flag sets it to true); empty for the
    // options that steer the run itself, which the parser handles by name.
    std::string setting;
    unsigned int commands;  // the command types that accept it
};

// Every option of the command line. An option that replaces a command file key needs nothing but its
// row here.
inline const std::vector<CommandLineOption>& CommandLineOptions() {
    static const std::vector<CommandLineOption> options = {
        {"-n", "--nvme", OptionKind::text, "", ALL_COMMANDS},
        {"-d", "--dir", OptionKind::text, "", ALL_COMMANDS},
        {"-r", "--rules", OptionKind::text, "rules file", READ_COMMAND},
        {"-c", "--compare", OptionKind::text, "compare file", READ_COMMAND},
        {"", "--metrics", OptionKind::text, "metrics file", READ_COMMAND},
        {"-s", "--samples", OptionKind::count, "samples", READ_COMMAND},
        {"-i", "--interval", OptionKind::number, "interval in ms", READ_COMMAND},
        {"-e", "--extended", OptionKind::flag, "extended self-test", SELF_TEST_COMMAND},
        {"-x", "", OptionKind::flag, "", ALL_COMMANDS},
        {"-v", "", OptionKind::flag, "", ALL_COMMANDS},
        {"-u", "--usage", OptionKind::request, "", ALL_COMMANDS},
        {"-h", "--help", OptionKind::request, "", ALL_COMMANDS},
        {"", "--export", OptionKind::flag, "", ALL_COMMANDS},
    };
    return options;
}

}  // namespace orka
