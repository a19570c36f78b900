#include "bench/registry_peers.h"

#define SI_NO_CONVERSION // its letters are bytes here
#include <SimpleIni.h>
#include <glib.h>
#include <ini.h>
#include <sqlite3.h>

#include <boost/property_tree/ini_parser.hpp>
#include <fstream>
#include <map>
#include <memory>

namespace em::bench {
namespace {

std::string iniFile(const std::string& directory, size_t count, Order order) {
    const std::string path = directory + "/peer.ini";
    std::string text = order == Order::Keys ? "" : "[section]\n";
    for (size_t i = 0; i < count; ++i) {
        const std::string name = valueName(indexOf(i, count, order));
        if (order == Order::Keys) {
            text += "[" + name + "]\n";
        }
        text += name + "=" + valueText(i) + "\n";
    }
    writeFile(path, text);
    return path;
}

Timed gKeyFile(const std::string& directory, size_t count, Order order) {
    return [path = iniFile(directory, count, order)] {
        const std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> file(g_key_file_new(), g_key_file_unref);
        const Stopwatch watch;
        const bool loaded =
            g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) != 0;
        const double seconds = watch.seconds();
        require(loaded, "GKeyFile");
        return seconds;
    };
}

Timed simpleIni(const std::string& directory, size_t count, Order order) {
    return [path = iniFile(directory, count, order)] {
        CSimpleIniCaseA file;
        const Stopwatch watch;
        const bool loaded = file.LoadFile(path.c_str()) == SI_OK;
        const double seconds = watch.seconds();
        require(loaded, "SimpleIni");
        return seconds;
    };
}

using Map = std::map<std::string, std::string>;

int takeIntoMap(void* user, const char* section, const char* name, const char* value) {
    static_cast<Map*>(user)->emplace(std::string(section) + "\\" + name, value);
    return 1;
}

Timed inihAndMap(const std::string& directory, size_t count, Order order) {
    return [path = iniFile(directory, count, order)] {
        Map map;
        const Stopwatch watch;
        const bool loaded = ini_parse(path.c_str(), takeIntoMap, &map) == 0;
        const double seconds = watch.seconds();
        require(loaded, "inih");
        return seconds;
    };
}

Timed propertyTree(const std::string& directory, size_t count, Order order) {
    return [path = iniFile(directory, count, order)] {
        boost::property_tree::ptree values;
        const Stopwatch watch;
        boost::property_tree::read_ini(path, values);
        return watch.seconds();
    };
}

// One row a value, all of them read into a map.
Timed sqlite(const std::string& directory, size_t count, Order order) {
    const std::string path = directory + "/peer.sqlite";
    static_cast<void>(std::remove(path.c_str()));
    sqlite3* database = nullptr;
    require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "sqlite3");
    std::string script = "create table v(name text primary key, value text) without rowid; begin;";
    for (size_t i = 0; i < count; ++i) {
        const std::string name = valueName(indexOf(i, count, order));
        const std::string section = order == Order::Keys ? name : "section";
        script += "insert into v values('" + section + "\\" + name + "','" + valueText(i) + "');";
    }
    require(sqlite3_exec(database, (script + "commit;").c_str(), nullptr, nullptr, nullptr) == SQLITE_OK,
            "sqlite3");
    sqlite3_close(database);
    return [path] {
        Map map;
        sqlite3* opened = nullptr;
        const Stopwatch watch;
        require(sqlite3_open(path.c_str(), &opened) == SQLITE_OK, "sqlite3");
        const auto take = [](void* user, int, char** row, char**) {
            auto& values = *static_cast<Map*>(user);
            values.emplace_hint(values.end(), row[0], row[1]);
            return 0;
        };
        const int result =
            sqlite3_exec(opened, "select name, value from v order by name", take, &map, nullptr);
        const double seconds = watch.seconds();
        sqlite3_close(opened);
        require(result == SQLITE_OK, "sqlite3");
        return seconds;
    };
}

Timed gKeyFileSave(const std::string& directory, size_t count) {
    const std::shared_ptr<GKeyFile> file(g_key_file_new(), g_key_file_unref);
    const std::string path = iniFile(directory, count, Order::Sorted);
    require(g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, nullptr) != 0, "GKeyFile");
    return timed(
        1, [=] { require(g_key_file_save_to_file(file.get(), path.c_str(), nullptr) != 0, "GKeyFile"); });
}

Timed simpleIniSave(const std::string& directory, size_t count) {
    const auto file = std::make_shared<CSimpleIniCaseA>();
    const std::string path = iniFile(directory, count, Order::Sorted);
    require(file->LoadFile(path.c_str()) == SI_OK, "SimpleIni");
    return timed(1, [=] { require(file->SaveFile(path.c_str()) == SI_OK, "SimpleIni"); });
}

// All rows anew, by one prepared statement in one transaction.
Timed sqliteSave(const std::string& directory, size_t count) {
    const std::string path = directory + "/peer.sqlite";
    static_cast<void>(std::remove(path.c_str()));
    sqlite3* opened = nullptr;
    require(sqlite3_open(path.c_str(), &opened) == SQLITE_OK, "sqlite3");
    const std::shared_ptr<sqlite3> database(opened, sqlite3_close);
    const auto run = [](sqlite3* on, const char* script) {
        require(sqlite3_exec(on, script, nullptr, nullptr, nullptr) == SQLITE_OK, script);
    };
    run(opened, "pragma synchronous = off; create table v(name text primary key, value text) without rowid");
    std::vector<std::pair<std::string, std::string>> values;
    for (size_t i = 0; i < count; ++i) {
        values.emplace_back(valueName(i), valueText(i));
    }
    return timed(1, [database, run, values = std::move(values)] {
        run(database.get(), "begin; delete from v");
        sqlite3_stmt* prepared = nullptr;
        require(sqlite3_prepare_v2(database.get(), "insert into v values(?, ?)", -1, &prepared, nullptr) ==
                    SQLITE_OK,
                "sqlite3");
        const std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> insert(prepared, sqlite3_finalize);
        for (const auto& [name, value] : values) {
            sqlite3_bind_text(prepared, 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
            sqlite3_bind_text(prepared, 2, value.data(), static_cast<int>(value.size()), SQLITE_STATIC);
            require(sqlite3_step(prepared) == SQLITE_DONE && sqlite3_reset(prepared) == SQLITE_OK, "sqlite3");
        }
        run(database.get(), "commit");
    });
}

} // namespace

const std::array<Peer, 5> kPeers{{
    {"GKeyFile", gKeyFile},
    {"SimpleIni", simpleIni},
    {"inih and std::map", inihAndMap},
    {"Boost property_tree", propertyTree},
    {"sqlite3", sqlite},
}};

const std::array<SavingPeer, 3> kSavingPeers{{
    {"GKeyFile", gKeyFileSave},
    {"SimpleIni", simpleIniSave},
    {"sqlite3", sqliteSave},
}};

// 7919 is prime and no divisor of a count, so each index comes once.
size_t indexOf(size_t i, size_t count, Order order) {
    return order == Order::Shuffled ? i * 7919 % count : i;
}

std::string valueName(size_t index) {
    std::string digits = std::to_string(index);
    return "value" + std::string(6 - digits.size(), '0') + digits;
}

std::string valueText(size_t index) {
    return "/opt/somewhere/" + std::to_string(index);
}

void writeFile(const std::string& path, const std::string& content) {
    require(static_cast<bool>(std::ofstream(path, std::ios::binary) << content), "writing a file");
}

} // namespace em::bench
