// The program oabr against simulated devices.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/sim_process.h"

using namespace sim_process;
using nlohmann::json;
using testing::HasSubstr;

namespace {

SimulatedDevice quiet(const std::string& serial = "OKVX0001") {
    return SimulatedDevice(serial).speed("fast").turnaround(std::chrono::milliseconds(1)).quiet();
}

class Oabr : public testing::Test {
protected:
    static Program oabr(const std::vector<std::string>& arguments) { return Program("oabr").args(arguments); }
    static Program oabr(const Device& device, const std::vector<std::string>& arguments) {
        return oabr(arguments).in(device);
    }

    /// All that was printed is as the schema says.
    void TearDown() override {
        if (printed_.empty()) return;
        std::vector<std::string> arguments = {"python3", OABR_SOURCE_DIR "/tests/programs/check-json",
                                              OABR_SOURCE_DIR "/resources/schemas/oabr-1.schema.json"};
        arguments.insert(arguments.end(), printed_.begin(), printed_.end());
        const Result checked = Program("/usr/bin/env").args(arguments).run();
        EXPECT_EQ(checked.status, 0) << checked;
    }

    /// The objects that it printed.
    json objects(const Result& result) {
        printed_.push_back(write("output" + std::to_string(printed_.size()) + ".json", result.out));
        return json::parse(result.out, nullptr, false);
    }
    /// The only object.
    json object(const Result& result) {
        const json all = objects(result);
        if (!all.is_array() || all.size() != 1) {
            ADD_FAILURE() << result;
            return {};
        }
        return all[0];
    }
    static std::string codeOf(const Result& result) {
        const json all = json::parse(result.out, nullptr, false);
        const bool has_error = all.is_array() && all.size() == 1 && !all[0]["errors"].empty();
        return has_error ? all[0]["errors"][0]["code"].get<std::string>() : "";
    }
    std::string write(const std::string& name, const std::string& text) {
        const std::string path = files_.path() + "/" + name;
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }

    TemporaryDirectory files_;

private:
    std::vector<std::string> printed_;
};

constexpr const char* set_up =
    "format = 1\n[ports.OABR1]\nspeed = 10\n[mirror]\nto = \"USB\"\nfrom = { OABR1 = \"rxtx\" }\n"
    "[vlan.port.OABR1]\npvid = 5\n[[vlan.entry]]\nvid = 5\nfid = 5\nmembers = [\"USB\", \"OABR1\"]\n"
    "[[mac.static]]\nentry = 0\nmac = \"80:01:02:03:04:05\"\nmembers = [\"USB\"]\n";

TEST_F(Oabr, ListsEveryDeviceWithItsState) {
    const Result none = oabr({"list", "-j"}).run();
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(objects(none), json::array());

    const auto first = quiet("OKVX0001").start();
    const auto second = quiet("OKVX0002").option("--bootloader").in(first).start();
    const auto third = quiet("OKVX0003").in(first).start();
    Running holder = Program("oabr-console").in(first).arg("OKVX0003").start();
    holder.write("ping\n");
    ASSERT_TRUE(holder.wait_out("PING")) << holder.err();
    const Result listed = oabr(first, {"-j", "list"}).run();
    EXPECT_EQ(listed.status, 0) << listed;
    const json all = objects(listed);
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0]["state"], "firmware");
    EXPECT_EQ(all[0]["firmware"], "01.06.00.00");
    EXPECT_EQ(all[0]["simulated"], true);
    EXPECT_EQ(all[1]["state"], "bootloader");
    EXPECT_EQ(all[2]["state"], "in_use");
    EXPECT_THAT(all[2]["hint"].get<std::string>(), HasSubstr("Close that program"));
    // Anything but a list needs to know which.
    EXPECT_EQ(codeOf(oabr(first, {"show", "-j"}).run()), "several_devices");
    EXPECT_EQ(codeOf(oabr(first, {"show", "--serial", "OKVX0002", "-j"}).run()), "in_bootloader");
    EXPECT_EQ(codeOf(oabr(first, {"show", "--serial", "OKVX0003", "-j"}).run()), "in_use");
    for (const char* verb : {"show", "list"})
        EXPECT_EQ(codeOf(oabr(first, {verb, "--serial", "OKVX0009", "-j"}).run()), "no_device");
    // A verb on all of them goes on behind those that fail.
    const Result shown = oabr(first, {"show", "/ports", "--all", "-j"}).run();
    EXPECT_EQ(shown.status, 2) << shown;
    EXPECT_EQ(objects(shown)[0]["ports"]["USB"]["negotiation"], "auto");
}

TEST_F(Oabr, RefusesAWrongCommandLineWithStatus2) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"shwo"},
                                                      {"show", "--form", "live"},
                                                      {"plan"},
                                                      {"plan", "a", "b"},
                                                      {"plan", "a", "--against", "x"},
                                                      {"--serial"},
                                                      {"--all", "--serial", "A", "list"},
                                                      {"set"},
                                                      {"--loglevel", "9", "list"}}) {
        const Result plain = oabr(arguments).run();
        EXPECT_EQ(plain.status, 2) << plain;
        EXPECT_THAT(plain.err, HasSubstr("oabr: "));
        std::vector<std::string> with_json = arguments;
        with_json.insert(with_json.begin(), "-j");
        EXPECT_EQ(codeOf(oabr(with_json).run()), "usage");
    }
    EXPECT_THAT(oabr({"shwo"}).run().err, HasSubstr("\"show\" is one"));
    const Result help = oabr({"apply", "--help"}).run();
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("--store"));
    EXPECT_THAT(oabr({"--version"}).run().out, testing::StartsWith("oabr 1."));
    EXPECT_EQ(codeOf(oabr({"show", "-j"}).run()), "no_device");
}

TEST_F(Oabr, PlansAppliesAndChecksAFile) {
    auto device = quiet().start();
    const std::string file = write("bench.toml", set_up);

    const Result planned = oabr(device, {"plan", file, "-j"}).run();
    EXPECT_EQ(planned.status, 3) << planned;
    const json plan = object(planned);
    EXPECT_EQ(plan["changes"].size(), 6u) << plan.dump(1);
    EXPECT_TRUE(device.journal("\"data\":\"F205").empty());

    const Result applied = oabr(device, {"apply", file, "-j"}).run();
    EXPECT_EQ(applied.status, 0) << applied;
    const json first = object(applied);
    EXPECT_EQ(first["changes"], plan["changes"]);
    size_t writes = 0;
    for (const json& change : plan["changes"])
        writes += change["writes"].size();
    EXPECT_EQ(first["written"], writes);

    const Result again = oabr(device, {"apply", file, "-j"}).run();
    EXPECT_EQ(again.status, 0) << again;
    EXPECT_EQ(object(again)["written"], 0);
    EXPECT_EQ(oabr(device, {"plan", file}).run().status, 0);

    // Live it is as the file says, stored it is not yet.
    const Result drifted = oabr(device, {"check", file, "-j"}).run();
    EXPECT_EQ(drifted.status, 3) << drifted;
    EXPECT_EQ(object(drifted)["changes"].size(), 0u);
    EXPECT_EQ(object(drifted)["stored_changes"].size(), 6u);
    const Result stored = oabr(device, {"apply", "--store", file, "-j"}).run();
    EXPECT_EQ(stored.status, 0) << stored;
    EXPECT_EQ(object(stored)["stored"], true);
    EXPECT_EQ(oabr(device, {"check", file}).run().status, 0);
    EXPECT_EQ(oabr(device, {"plan", "--against", "stored", file}).run().status, 0);
    const json in_eeprom = object(oabr(device, {"show", "--from", "stored", "-j"}).run());
    EXPECT_EQ(in_eeprom["vlan"]["entry"]["5"]["members"], (json{"USB", "OABR1"}));
    device.restart();
    EXPECT_EQ(oabr(device, {"check", file}).run().status, 0);
}

TEST_F(Oabr, ShowsWhatIsASetUp) {
    const auto device = quiet().start();
    ASSERT_EQ(oabr(device, {"apply", write("bench.toml", set_up)}).run().status, 0);
    const Result shown = oabr(device, {"show"}).run();
    EXPECT_THAT(shown.out, HasSubstr("[ports.OABR1]\nspeed = 10\n"));
    const Result printed = oabr(device, {"show", "-j", "-p"}).run();
    const json all = object(printed);
    EXPECT_EQ(all["mac"]["static"]["0"]["mac"], "80:01:02:03:04:05");
    EXPECT_EQ(all["status"]["USB"]["link"], true);
    EXPECT_EQ(all["life_cycle"]["traffic_time"], nullptr);  // nothing is stored
    for (const std::string& file : {write("a.toml", shown.out), write("a.json", printed.out)}) {
        const Result applied = oabr(device, {"apply", file, "-j"}).run();
        EXPECT_EQ(applied.status, 0) << applied;
        EXPECT_EQ(object(applied)["written"], 0);
        EXPECT_EQ(oabr({"lint", file}).run().status, 0);
    }
    // Some of it only.
    const json some =
        object(oabr(device, {"show", "/ports/OABR1", "/vlan/entry/5", "/status/USB/link", "-j"}).run());
    EXPECT_EQ(some["ports"]["OABR1"]["speed"], 10);
    EXPECT_EQ(some["ports"]["OABR2"]["speed"], nullptr);
    EXPECT_EQ(some["vlan"]["entry"].size(), 1u);
    EXPECT_EQ(some["status"]["USB"], (json{{"link", true}, {"speed", nullptr}, {"duplex", nullptr}}));
    EXPECT_EQ(some["status"]["OABR1"]["link"], nullptr);
    const Result wrong = oabr(device, {"show", "/ports/OABR1/sped", "-j"}).run();
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(object(wrong)["errors"][0]["hint"].get<std::string>(), HasSubstr("/ports/OABR1/speed"));
}

TEST_F(Oabr, SetsAllOfItsArgumentsOrNone) {
    const auto device = quiet().start();
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"/ports/OABR1/speed=1000"},
                                                  {"/ports/OABR1/role=master"},
                                                  {"/ports/OABR1/sped=10"},
                                                  {"/ports/OABR1/speed"},
                                                  {"/status/USB/link=true"},
                                                  {"/vlan/entry/5={fid=1}"},
                                                  {"/ports/USB/speed=10", "/ports/USB/speed=100"}}) {
        std::vector<std::string> arguments = {"set", "-j", "/vlan/enabled=true"};
        arguments.insert(arguments.end(), wrong.begin(), wrong.end());
        const Result result = oabr(device, arguments).run();
        EXPECT_EQ(result.status, 2) << result;
        (void)object(result);
    }
    EXPECT_TRUE(device.journal("\"event\":\"request\"").empty());

    const Result set =
        oabr(device, {"set", "/ports/OABR2/speed=10", "/forward/USB=USB,OABR1", "/mirror/to=OABR2",
                      "/can/bit_rate=125000", "/vlan/entry/7={fid=1,members=[\"USB\"]}",
                      R"(/vlan/entry/8={"fid":2,"members":["OABR1"]})", "/ports/USB/negotiation=forced",
                      "/life_cycle/traffic_time=20"})
            .run();
    EXPECT_EQ(set.status, 0) << set;
    const json now = object(oabr(device, {"show", "-j", "/ports", "/forward", "/can", "/life_cycle",
                                          "/vlan/entry/7", "/vlan/entry/8"})
                                .run());
    EXPECT_EQ(now["ports"]["OABR2"]["speed"], 10);
    EXPECT_EQ(now["forward"]["USB"], (json{"USB", "OABR1"}));
    EXPECT_EQ(now["can"]["bit_rate"], 125000);
    EXPECT_EQ(now["life_cycle"]["traffic_time"], 20);
    EXPECT_EQ(now["vlan"]["entry"]["7"]["members"], json{"USB"});
    EXPECT_EQ(now["vlan"]["entry"]["8"]["members"], json{"OABR1"});
    EXPECT_EQ(oabr(device, {"set", "/vlan/entry/7=none", "/mirror/to=none"}).run().status, 0);
    EXPECT_EQ(object(oabr(device, {"show", "/vlan/entry/7", "-j"}).run())["vlan"]["entry"], json::object());
}

TEST_F(Oabr, SaysWhereAFileIsWrongAndTouchesNoDevice) {
    const auto device = quiet().start();
    const std::string odd_name = std::string("bad\xFF\x1b[31m.toml");
    const std::string file = write(odd_name, "[ports.OABR1]\nsped = 100\n");
    for (const char* verb : {"lint", "plan", "apply", "check"}) {
        const Result result = oabr(device, {verb, file, "-j"}).run();
        EXPECT_EQ(result.status, 2) << result;
        const json error = object(result)["errors"][0];
        EXPECT_EQ(error["line"], 2);
        EXPECT_EQ(error["column"], 8);
        EXPECT_THAT(error["hint"].get<std::string>(), HasSubstr("\"speed\""));
        const Result text = oabr(device, {verb, file}).run();
        EXPECT_THAT(text.err, HasSubstr(":2:8: "));
        EXPECT_EQ(text.err.find('\x1b'), std::string::npos);
    }
    const std::string large = write("large.toml", "");
    std::filesystem::resize_file(large, 100'000'000);
    for (const std::string& unreadable : {files_.path() + "/none.toml", files_.path(), large})
        EXPECT_EQ(codeOf(oabr(device, {"apply", unreadable, "-j"}).run()), "file_unreadable");
    const std::string guarded =
        write("guard.toml", "[device]\nserial = \"OTHER\"\nfirmware = \"> 9\"\n[vlan]\nenabled = true\n");
    const Result refused = oabr(device, {"apply", guarded, "-j"}).run();
    EXPECT_EQ(refused.status, 2) << refused;
    EXPECT_EQ(object(refused)["errors"].size(), 2u);
    std::string many = "[vlan]\n";
    for (int vid = 1; vid < 1000; vid += 4)
        many += "[[vlan.entry]]\nvid = " + std::to_string(vid) + "\nfid = 1\nmembers = [\"USB\"]\n";
    EXPECT_EQ(codeOf(oabr(device, {"apply", "--store", write("many.toml", many), "-j"}).run()),
              "does_not_fit");
    EXPECT_TRUE(device.journal("\"data\":\"F205").empty());
    const Result warned =
        oabr({"lint", write("odd.toml", "[[vlan.entry]]\nvid = 5\nfid = 5\nmembers = []\n"), "-j"}).run();
    EXPECT_EQ(warned.status, 3) << warned;
    EXPECT_EQ(object(warned)["errors"][0]["path"], "/vlan/entry/5");
}

TEST_F(Oabr, TakesBackWhatItWroteWhenTheDeviceGoesOrIsSilent) {
    const std::string file = write("bench.toml", set_up);
    for (const char* fault : {"unplug-at-byte=1500:300", "drop-reply=85"}) {
        SCOPED_TRACE(fault);
        auto device = quiet().start();
        const std::vector<std::string> show = {"show",     "-j",         "/ports",        "/mirror",
                                               "/forward", "/vlan/port", "/vlan/entry/5", "/mac/static/0"};
        const json before = object(oabr(device, show).run());
        device.control(std::string("fault ") + fault);
        const Result applied = oabr(device, {"apply", file, "-j"}).run();
        device.control("fault none");
        const json result = object(applied);
        json after = object(oabr(device, show).run());
        after["read_at"] = before["read_at"];
        if (applied.status == 0) {
            EXPECT_EQ(oabr(device, {"plan", file}).run().status, 0);
            continue;
        }
        EXPECT_EQ(applied.status, 1) << applied;
        EXPECT_EQ(after, before) << applied;
    }
}

TEST_F(Oabr, EndsBetweenTwoRequestsAtCtrlC) {
    const auto device = SimulatedDevice().quiet().start();
    Running running = oabr(device, {"show", "-j"}).start();
    ASSERT_TRUE(device.wait_journal("\"event\":\"request\"", 60));
    running.signal(SIGINT);
    const Result result = running.wait();
    EXPECT_EQ(result.status, 130) << result;
    EXPECT_EQ(codeOf(result), "interrupted");
}

TEST_F(Oabr, SaysWhenItsOutputCouldNotBeWritten) {
    const auto device = quiet().start();
    const Result full =
        Program("/bin/sh").args({"-c", program_path("oabr") + " list -j > /dev/full"}).in(device).run();
    EXPECT_EQ(full.status, 1) << full;
    EXPECT_THAT(full.err, HasSubstr("could be written"));
}

TEST_F(Oabr, CompletesEveryVerbAndPath) {
    const Result listed =
        Program("/bin/bash")
            .args({"-c", "source " OABR_SOURCE_DIR "/resources/completion/oabr; _oabr_paths"})
            .run();
    const json settings = object(oabr({"show", "-j", "--from", write("empty.toml", "")}).run());
    for (const char* group : {"ports", "mirror", "forward", "vlan", "can", "life_cycle"}) {
        const json flat = settings[group].flatten();
        for (const auto& [path, value] : flat.items()) {
            std::string whole = std::string("/") + group + path;
            for (const char* object : {"/can/timing", "/can/receive", "/vlan/entry", "/forward/USB",
                                       "/forward/100BaseTX", "/forward/OABR1", "/forward/OABR2"})
                if (whole.starts_with(object)) whole = object;
            if (whole == "/mirror/to_known") continue;
            EXPECT_THAT(" " + listed.out + " ", testing::ContainsRegex("[ \n]" + whole + "[ \n]"));
        }
    }
    const Result completed =
        Program("/bin/bash")
            .args({"-c",
                   "source " OABR_SOURCE_DIR
                   "/resources/completion/oabr; COMP_WORDS=(oabr show /ports/OABR1/s); COMP_CWORD=2; _oabr; "
                   "echo \"${COMPREPLY[@]}\""})
            .run();
    EXPECT_EQ(completed.out, "/ports/OABR1/speed\n") << completed;
}

TEST_F(Oabr, EndsAStoreThatPowerOrAKillCutOff) {
    auto device = quiet().start();
    const auto stored = [&] { return device.eeprom(); };
    ASSERT_EQ(oabr(device, {"store", "-j"}).run().status, 0);
    const std::string before = stored();
    ASSERT_EQ(oabr(device, {"set", "/vlan/port/USB/pvid=700", "/life_cycle/wakeup=can"}).run().status, 0);
    const Result looked = oabr(device, {"store", "--dry-run", "-j"}).run();
    EXPECT_EQ(looked.status, 3);
    EXPECT_EQ(object(looked)["areas"][0]["area"], "switch");
    EXPECT_EQ(stored(), before);
    ASSERT_EQ(oabr(device, {"backup", files_.path() + "/b", "-j"}).run().status, 0);

    device.control("fault eeprom-power-loss=3:100");
    const Result cut = oabr(device, {"store", "-j"}).run();
    EXPECT_EQ(cut.status, 1) << cut;
    device.control("fault none");
    const Result listed = oabr(device, {"list"}).run();
    EXPECT_THAT(listed.err, HasSubstr("The last store of OKVX0001 was interrupted."));
    EXPECT_EQ(codeOf(oabr(device, {"store", "--from", "1", "-j"}).run()), "conflict");
    // Another computer has no journal.
    const Result elsewhere =
        oabr(device, {"recover", "finish", "-j"}).env("OABR_STATE_DIR", files_.path() + "/other").run();
    EXPECT_EQ(elsewhere.status, 2);
    EXPECT_EQ(object(elsewhere)["found"], "marker");
    const json back = object(oabr(device, {"recover", "back", "-j"}).run());
    EXPECT_EQ(back["equal"], true);
    EXPECT_EQ(stored(), before);
    EXPECT_EQ(object(oabr(device, {"recover", "finish", "-j"}).run())["found"], nullptr);
    const json restored = object(oabr(device, {"restore", files_.path() + "/b", "-j"}).run());
    EXPECT_EQ(restored["equal"], true);
    const json history = object(oabr(device, {"history", "diff", "1", "2", "-j"}).run());
    EXPECT_EQ(history["changes"].size(), 0u);
    const json next = object(oabr(device, {"predict", "--restart", "-j"}).run());
    EXPECT_EQ(next["last_check"]["wrong"], json::array()) << next;
}

}  // namespace
