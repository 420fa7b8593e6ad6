#include "drive.h"

#include <fcntl.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace brantix_sim {

namespace {

void Put(Bytes& image, size_t offset, size_t size, uint64_t value) {
    if (image.size() < offset + size) {
        image.resize(offset + size, 0);
    }
    for (size_t i = 0; i < size; ++i) {
        image[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

std::string ToHex(const Bytes& bytes) {
    static const char* digits = "0123456789abcdef";
    std::string text;
    for (uint8_t b : bytes) {
        text += digits[b >> 4];
        text += digits[b & 15];
    }
    return text;
}

Bytes FromHex(const std::string& text) {
    Bytes bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// The state of one drive, read and written around every command under an
// exclusive lock so that concurrent processes see one sequence.
class State {
  public:
    State(const Context& context, const Drive& drive)
        : path_(context.state_dir + "/drive" + std::to_string(drive.controller) + ".json") {
        lock_ = open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (lock_ >= 0) {
            flock(lock_, LOCK_EX);
        }
        std::ifstream in(path_);
        if (in) {
            Json::CharReaderBuilder builder;
            std::string errors;
            if (!Json::parseFromStream(builder, in, &value, &errors)) {
                value = Json::Value(Json::objectValue);
            }
        }
        DropNullMembers(value);
        loaded_ = value;
    }
    ~State() {
        // Most commands change nothing; rewriting the file for them would cost every client of the
        // simulator a file replacement per command.
        DropNullMembers(value);
        if (value != loaded_) {
            Save();
        }
        if (lock_ >= 0) {
            flock(lock_, LOCK_UN);
            close(lock_);
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    Json::Value value{Json::objectValue};

  private:
    // Members read before they were ever set hold nothing worth keeping.
    static void DropNullMembers(Json::Value& object) {
        if (!object.isObject()) {
            object = Json::Value(Json::objectValue);
            return;
        }
        for (const auto& name : object.getMemberNames()) {
            if (object[name].isNull()) {
                object.removeMember(name);
            }
        }
    }

    void Save() const {
        Json::StreamWriterBuilder builder;
        const std::string temporary = path_ + ".tmp";
        {
            std::ofstream out(temporary);
            out << Json::writeString(builder, value);
        }
        std::rename(temporary.c_str(), path_.c_str());
    }

    Json::Value loaded_;
    std::string path_;
    int lock_ = -1;
};

Answer Status(int status) {
    return Answer{status, 0, 0};
}

Answer Transfer(AdminCommand& command, const Bytes& image, size_t offset, size_t length) {
    if (command.data != nullptr) {
        // Bytes past the end of the image read as zero; logs of megabytes are copied whole.
        const size_t count = std::min<size_t>(length, command.data_len);
        const size_t present = offset < image.size() ? std::min(count, image.size() - offset) : 0;
        if (present != 0) {
            std::memcpy(command.data, image.data() + offset, present);
        }
        std::fill_n(command.data + present, count - present, uint8_t{0});
    }
    return Answer{};
}

Answer Identify(const Drive& drive, AdminCommand& command) {
    const unsigned cns = command.cdw10 & 0xFF;
    if (cns == 0x01) {
        return Transfer(command, drive.identify_controller, 0, 4096);
    }
    if (cns == 0x00) {
        for (const auto& ns : drive.namespaces) {
            if (ns.nsid == command.nsid) {
                return Transfer(command, ns.identify, 0, 4096);
            }
        }
        return Status(STATUS_INVALID_NAMESPACE);
    }
    if (cns == 0x02 && drive.replay) {
        return Transfer(command, drive.active_list, 0, 4096);
    }
    if (cns == 0x02) {
        Bytes list(4096, 0);
        size_t at = 0;
        for (const auto& ns : drive.namespaces) {
            if (ns.nsid > command.nsid && at < 4096) {
                Put(list, at, 4, ns.nsid);
                at += 4;
            }
        }
        return Transfer(command, list, 0, 4096);
    }
    return Status(STATUS_INVALID_FIELD);
}

uint64_t NowMs() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

constexpr uint64_t DONE = 65536;

// Advances a running operation on a read of its log. Its progress, in
// 1/65536 parts (DONE when finished), comes from the wall-clock time since it
// started when the profile gives "seconds", else from the reads so far.
uint64_t Advance(Json::Value& running, unsigned polls, int seconds) {
    const unsigned count = running["polls"].asUInt() + 1;
    running["polls"] = count;
    if (seconds >= 0) {
        const uint64_t elapsed = NowMs() - running["start"].asUInt64();
        const uint64_t total = static_cast<uint64_t>(seconds) * 1000;
        return total == 0 ? DONE : std::min(DONE, elapsed * DONE / total);
    }
    return std::min(DONE, count * DONE / std::max(1u, polls));
}

Bytes SelfTestLog(const Drive& drive, const Json::Value& state) {
    Bytes image = drive.logs.count(0x06) != 0 ? drive.logs.at(0x06) : EmptySelfTestLog();
    image.resize(564, 0);
    const Json::Value& running = state["self-test"];
    if (running.isObject()) {
        image[0] = static_cast<uint8_t>(running["code"].asUInt());
        image[1] = static_cast<uint8_t>(running["percent"].asUInt());
    }
    const Json::Value& results = state["self-test results"];
    if (results.size() > 0) {
        Bytes entries;
        for (const auto& result : results) {
            const Bytes entry = FromHex(result.asString());
            entries.insert(entries.end(), entry.begin(), entry.end());
        }
        entries.insert(entries.end(), image.begin() + 4, image.end());
        std::copy(entries.begin(), entries.begin() + 560, image.begin() + 4);
    }
    return image;
}

Bytes SelfTestEntry(const Drive& drive, unsigned code, unsigned result, uint32_t nsid) {
    Bytes entry(28, 0);
    entry[0] = static_cast<uint8_t>((code << 4) | (result & 0x0F));
    Put(entry, 4, 8, drive.power_on_hours);
    Put(entry, 12, 4, nsid);
    if (result == 7) {
        // A failed segment: point at a namespace and LBA with a media error.
        entry[1] = static_cast<uint8_t>(drive.self_test_segment);
        entry[2] = 0x0F;
        Put(entry, 12, 4, 1);
        Put(entry, 16, 8, 0x1234);
        entry[24] = 2;
        entry[25] = 0x81;
    }
    return entry;
}

void AddSelfTestResult(Json::Value& state, const Bytes& entry) {
    Json::Value results(Json::arrayValue);
    results.append(ToHex(entry));
    for (const auto& old : state["self-test results"]) {
        if (results.size() < 20) {
            results.append(old);
        }
    }
    state["self-test results"] = results;
}

Bytes SanitizeLog(const Drive& drive, Json::Value& state) {
    Bytes image = drive.logs.count(0x81) != 0 ? drive.logs.at(0x81) : Bytes(512, 0);
    Json::Value& running = state["sanitize"];
    if (running.isObject()) {
        const uint64_t fraction = Advance(running, drive.sanitize_polls, drive.sanitize_seconds);
        if (fraction < DONE) {
            uint64_t progress = fraction;
            if (running["polls"].asUInt() == 1) {
                running["first"] = static_cast<Json::UInt64>(progress);
                if (drive.sanitize_outcome == "restarts") {
                    progress = DONE - 1;
                }
            } else if (drive.sanitize_outcome == "backwards" && running["polls"].asUInt() == 2) {
                progress = running["first"].asUInt64() / 2;
            }
            Put(image, 0, 2, progress);
            Put(image, 2, 2, 2);
            Put(image, 4, 4, running["cdw10"].asUInt());
            return image;
        }
        unsigned status = 1;
        if (drive.sanitize_outcome == "failed") {
            status = 3;
        } else if (drive.sanitize_outcome == "no-deallocate") {
            status = 4;
        }
        Json::Value done(Json::objectValue);
        done["status"] = status;
        done["cdw10"] = running["cdw10"];
        state["sanitize done"] = done;
        state.removeMember("sanitize");
    }
    const Json::Value& done = state["sanitize done"];
    if (done.isObject()) {
        const unsigned status = done["status"].asUInt();
        Put(image, 0, 2, 0xFFFF);
        Put(image, 2, 2, status | (status == 3 ? 0 : 0x100));
        Put(image, 4, 4, done["cdw10"].asUInt());
    }
    return image;
}

Answer GetLogPage(const Drive& drive, AdminCommand& command, Json::Value& state) {
    const unsigned lid = command.cdw10 & 0xFF;
    const unsigned lsp = (command.cdw10 >> 8) & 0x0F;
    const uint64_t dwords =
        ((command.cdw10 >> 16) | (static_cast<uint64_t>(command.cdw11 & 0xFFFF) << 16)) + 1;
    const uint64_t offset = command.cdw12 | (static_cast<uint64_t>(command.cdw13) << 32);
    if (dwords * 4 != command.data_len) {
        return Status(STATUS_DATA_LENGTH_INVALID);
    }
    Bytes image;
    if (lid == 0x06) {
        Json::Value& running = state["self-test"];
        if (running.isObject()) {
            const uint64_t fraction = Advance(running, drive.self_test_polls, drive.self_test_seconds);
            unsigned percent = static_cast<unsigned>(std::min<uint64_t>(99, fraction * 100 / DONE));
            if (running["polls"].asUInt() == 1) {
                running["first"] = percent;
            } else if (drive.self_test_backwards && running["polls"].asUInt() == 2) {
                percent = running["first"].asUInt() / 2;
            }
            running["percent"] = percent;
            if (fraction >= DONE) {
                AddSelfTestResult(state, SelfTestEntry(drive, running["code"].asUInt(),
                                                       drive.self_test_result, running["nsid"].asUInt()));
                state.removeMember("self-test");
            }
        }
        image = SelfTestLog(drive, state);
    } else if (lid == 0x81) {
        if (drive.Sanicap() == 0 && drive.logs.count(0x81) == 0) {
            return Status(STATUS_INVALID_LOG_PAGE);
        }
        image = SanitizeLog(drive, state);
    } else {
        const auto found = drive.logs.find(lid);
        if (found == drive.logs.end()) {
            return Status(STATUS_INVALID_LOG_PAGE);
        }
        image = found->second;
        if (lid == 0x0D) {
            if (lsp == 1) {
                state["event log context"] = true;
            } else if (lsp == 2) {
                state["event log context"] = false;
            } else if (!state["event log context"].asBool()) {
                return Status(STATUS_SEQUENCE_ERROR);
            }
        }
    }
    // A piece that starts past the end of the page is refused; the first piece may ask for more.
    if (offset != 0 && offset >= image.size()) {
        return Status(STATUS_INVALID_FIELD);
    }
    return Transfer(command, image, offset, dwords * 4);
}

Answer GetFeatures(const Drive& drive, AdminCommand& command) {
    const unsigned fid = command.cdw10 & 0xFF;
    // A namespace the drive does not have is refused, whichever feature is asked for.
    if (command.nsid != 0 && command.nsid != 0xFFFFFFFF &&
        std::none_of(drive.namespaces.begin(), drive.namespaces.end(),
                     [&command](const Namespace& ns) { return ns.nsid == command.nsid; })) {
        return Status(STATUS_INVALID_NAMESPACE);
    }
    const auto found = drive.features.find(fid);
    if (found == drive.features.end()) {
        return Status(STATUS_INVALID_FIELD);
    }
    if (fid == 0x04) {
        const unsigned sensor = (command.cdw11 >> 16) & 0x0F;
        const unsigned kind = (command.cdw11 >> 20) & 0x03;
        const auto threshold = drive.thresholds.find((sensor << 4) | kind);
        if (threshold == drive.thresholds.end()) {
            return Status(STATUS_INVALID_FIELD);
        }
        return Answer{0, 0, threshold->second};
    }
    Answer answer;
    if (!found->second.buffer.empty()) {
        answer = Transfer(command, found->second.buffer, 0, found->second.buffer.size());
    }
    answer.result = found->second.dw0;
    return answer;
}

Answer DeviceSelfTest(const Drive& drive, AdminCommand& command, Json::Value& state) {
    if ((drive.Oacs() & 0x10) == 0) {
        return Status(STATUS_INVALID_OPCODE);
    }
    const unsigned code = command.cdw10 & 0x0F;
    if (code == 0x0F) {
        const Json::Value& running = state["self-test"];
        if (running.isObject()) {
            AddSelfTestResult(state,
                              SelfTestEntry(drive, running["code"].asUInt(), 1, running["nsid"].asUInt()));
            state.removeMember("self-test");
        }
        return Answer{};
    }
    if (code != 0x01 && code != 0x02) {
        return Status(STATUS_INVALID_FIELD);
    }
    if (state["self-test"].isObject()) {
        return Status(STATUS_SELF_TEST_IN_PROGRESS);
    }
    Json::Value running(Json::objectValue);
    running["code"] = code;
    running["nsid"] = command.nsid;
    running["polls"] = 0;
    running["start"] = static_cast<Json::UInt64>(NowMs());
    state["self-test"] = running;
    return Answer{};
}

Answer Sanitize(const Drive& drive, AdminCommand& command, Json::Value& state) {
    const uint16_t sanicap = drive.Sanicap();
    if ((sanicap & 0x07) == 0) {
        return Status(STATUS_INVALID_OPCODE);
    }
    const unsigned action = command.cdw10 & 0x07;
    static const uint16_t capability[8] = {0, 0x07, 0x02, 0x04, 0x01, 0, 0, 0};
    if ((sanicap & capability[action]) == 0) {
        return Status(STATUS_INVALID_FIELD);
    }
    if (state["sanitize"].isObject()) {
        return Status(STATUS_SANITIZE_IN_PROGRESS);
    }
    if (action == 1) {
        state.removeMember("sanitize done");
        return Answer{};
    }
    Json::Value running(Json::objectValue);
    running["cdw10"] = command.cdw10;
    running["polls"] = 0;
    running["start"] = static_cast<Json::UInt64>(NowMs());
    state["sanitize"] = running;
    state.removeMember("sanitize done");
    return Answer{};
}

bool Matches(const Fault& fault, const AdminCommand& command) {
    if (fault.opcode != command.opcode) {
        return false;
    }
    if (fault.log >= 0 && (command.opcode != 0x02 || static_cast<int>(command.cdw10 & 0xFF) != fault.log)) {
        return false;
    }
    if (fault.feature >= 0 && ((command.opcode != 0x0A && command.opcode != 0x09) ||
                               static_cast<int>(command.cdw10 & 0xFF) != fault.feature)) {
        return false;
    }
    if (fault.cns >= 0 && (command.opcode != 0x06 || static_cast<int>(command.cdw10 & 0xFF) != fault.cns)) {
        return false;
    }
    return true;
}

void Journal(const Context& context, const Drive& drive, const AdminCommand& command, const Answer& answer) {
    if (context.journal.empty()) {
        return;
    }
    Json::Value record(Json::objectValue);
    record["device"] = "/dev/nvme" + std::to_string(drive.controller);
    record["opcode"] = command.opcode;
    record["nsid"] = command.nsid;
    record["cdw10"] = command.cdw10;
    record["cdw11"] = command.cdw11;
    record["cdw12"] = command.cdw12;
    record["cdw13"] = command.cdw13;
    record["cdw14"] = command.cdw14;
    record["cdw15"] = command.cdw15;
    record["data_len"] = command.data_len;
    record["return"] = answer.ret;
    record["errno"] = answer.error;
    record["result"] = answer.result;
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    const std::string line = Json::writeString(builder, record) + "\n";
    const int fd = open(context.journal.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0) {
        const ssize_t written = write(fd, line.data(), line.size());
        (void)written;
        close(fd);
    }
}

// The name the tool gives a command in its information file, by which a capture records it.
std::string CommandName(const AdminCommand& command) {
    const unsigned id = command.cdw10 & 0xFF;
    char text[64] = {};
    if (command.opcode == 0x06 && id == 0x01) {
        return "Identify Controller";
    }
    if (command.opcode == 0x06 && id == 0x00) {
        return "Identify Namespace " + std::to_string(command.nsid);
    }
    if (command.opcode == 0x06 && id == 0x02) {
        return "Identify Active Namespace List";
    }
    if (command.opcode == 0x02) {
        snprintf(text, sizeof text, "Get Log Page 0x%02X", id);
    } else if (command.opcode == 0x0A) {
        snprintf(text, sizeof text, command.cdw11 != 0 ? "Get Feature %u (0x%x)" : "Get Feature %u", id,
                 command.cdw11);
    }
    return text;
}

// Whether a replayed drive's capture holds what the command reads. Self-test and sanitize run as on
// any simulated drive; their logs are answered once an operation has been started.
bool Held(const Drive& drive, const AdminCommand& command, const Json::Value& state) {
    const unsigned id = command.cdw10 & 0xFF;
    switch (command.opcode) {
        case 0x06:
            return id == 0x01 || (id == 0x02 && drive.active_list_held) ||
                   (id == 0x00 &&
                    std::any_of(drive.namespaces.begin(), drive.namespaces.end(),
                                [&command](const Namespace& ns) { return ns.nsid == command.nsid; }));
        case 0x02:
            if (id == 0x06 && (state.isMember("self-test") || state.isMember("self-test results"))) {
                return true;
            }
            if (id == 0x81 && (drive.Sanicap() != 0 || state.isMember("sanitize done"))) {
                return true;
            }
            return drive.logs.count(id) != 0;
        case 0x0A:
            if (id == 0x04) {
                return drive.thresholds.count((((command.cdw11 >> 16) & 0x0F) << 4) |
                                              ((command.cdw11 >> 20) & 3)) != 0;
            }
            return drive.features.count(id) != 0;
        default:
            return true;
    }
}

Answer Recorded(const Drive& drive, const AdminCommand& command) {
    const auto found = drive.recorded.find(CommandName(command));
    if (found == drive.recorded.end()) {
        return Status(STATUS_INVALID_FIELD);
    }
    return found->second.error != 0 ? Answer{-1, found->second.error, 0} : Status(found->second.status);
}

// The capture of a sequence that answers now: the n-th Identify Controller moves to capture n.
const Drive& Stage(const Drive& drive, const AdminCommand& command, Json::Value& state) {
    if (drive.samples.empty()) {
        return drive;
    }
    unsigned count = state.get("replay identify", 0).asUInt();
    if (command.opcode == 0x06 && (command.cdw10 & 0xFF) == 0x01) {
        state["replay identify"] = ++count;
    }
    const size_t index = std::min<size_t>(count == 0 ? 0 : count - 1, drive.samples.size());
    return index == 0 ? drive : drive.samples[index - 1];
}

int VanishAfter(const Context& context, const Drive& drive) {
    return context.run_vanish_after >= 0 ? context.run_vanish_after : drive.vanish_after;
}

}  // namespace

int OpenError(const Context& context, const Drive& drive) {
    if (context.run_open_error != 0) {
        return context.run_open_error;
    }
    if (drive.open_error != 0) {
        return drive.open_error;
    }
    // A controller that is connecting, resetting or being deleted.
    if (drive.state != "live") {
        return EAGAIN;
    }
    const int vanish = VanishAfter(context, drive);
    if (vanish >= 0) {
        State state(context, drive);
        if (state.value["commands"].asInt() >= vanish) {
            return ENOENT;
        }
    }
    return 0;
}

Answer RunAdminCommand(const Context& context, const Drive& drive, AdminCommand& command) {
    Answer answer;
    int signal = 0;
    {
        State state(context, drive);
        Json::Value& value = state.value;
        const int vanish = VanishAfter(context, drive);
        // Only a drive that is to vanish needs its commands counted.
        const int commands = value.get("commands", 0).asInt();
        if (vanish >= 0) {
            value["commands"] = commands + 1;
        }
        bool failed = false;
        if (vanish >= 0 && commands >= vanish) {
            answer = Answer{-1, ENODEV, 0};
            failed = true;
        }
        // The kernel refuses a transfer longer than the controller's or its own limit before the
        // command reaches the drive.
        const uint64_t max_transfer = drive.MaxTransfer();
        if (!failed && max_transfer != 0 && command.data_len > max_transfer) {
            answer = Answer{-1, EINVAL, 0};
            failed = true;
        }
        std::vector<Fault> faults = drive.faults;
        faults.insert(faults.end(), context.run_faults.begin(), context.run_faults.end());
        for (const auto& fault : faults) {
            if (failed || !Matches(fault, command)) {
                continue;
            }
            Json::Value& calls = value["fault calls"][fault.Key()];
            calls = calls.asUInt() + 1;
            if (calls.asUInt() <= fault.after) {
                continue;
            }
            if (fault.signal != 0) {
                signal = fault.signal;
            } else {
                answer = fault.error != 0 ? Answer{-1, fault.error, 0} : Status(fault.status);
                failed = true;
            }
        }
        const Drive& stage = Stage(drive, command, value);
        if (!failed && stage.replay && !Held(stage, command, value)) {
            answer = Recorded(stage, command);
            failed = true;
        }
        if (!failed) {
            switch (command.opcode) {
                case 0x06:
                    answer = Identify(stage, command);
                    break;
                case 0x02:
                    answer = GetLogPage(stage, command, value);
                    break;
                case 0x0A:
                    answer = GetFeatures(stage, command);
                    break;
                case 0x14:
                    answer = DeviceSelfTest(stage, command, value);
                    break;
                case 0x84:
                    answer = Sanitize(stage, command, value);
                    break;
                default:
                    answer = Status(STATUS_INVALID_OPCODE);
                    break;
            }
        }
    }
    Journal(context, drive, command, answer);
    if (signal != 0) {
        // As if the signal arrived while the command was on its way back: deterministic where a signal
        // sent from outside would race the program.
        raise(signal);
    }
    return answer;
}

}  // namespace brantix_sim
