#pragma once

#include "Editor.h"
#include "exports.h"
#include "folder.h"
#include "messages.h"
#include "photograph.h"
#include "presets.h"
#include "saver.h"
#include "server.h"
#include "thumbnails.h"

#include <map>
#include <memory>
#include <set>
#include <string>

namespace editor {

/// Where everything comes together: tabs, photographs, recipes. All of it lives on the server's thread; what other
/// threads tell is posted there.
class Desk : public Site {
public:
    Desk(const Options& options, const Surroundings& around, Server& server);
    ~Desk() override;

    void get(const std::string& path, std::function<void(Reply)> answer) override;
    int join(std::shared_ptr<Connection> connection) override;
    void take(int tab, const std::string& message) override;
    void leave(int tab) override;

private:
    struct Tab {
        std::shared_ptr<Connection> line;
        std::string photo; ///< The one it shows; empty: none yet.
        bool moving = false;
    };
    /// A photograph that is open, or about to be.
    struct Open {
        std::shared_ptr<Photograph> photograph;
        cv::Size size; ///< Empty until it is open.
        int serial = 0;
    };
    using Take = void (Desk::*)(int tab, Tab& from, const Json& message);
    static const std::map<std::string, Take>& takes();

    // What messages do: desk_messages.cpp.
    void open(int tab, Tab& from, const Json& message);
    void view(int tab, Tab& from, const Json& message);
    void recipe(int tab, Tab& from, const Json& message);
    void undo(int tab, Tab& from, const Json& message);
    void redo(int tab, Tab& from, const Json& message);
    void acknowledge(int tab, Tab& from, const Json& message);
    void apply(int tab, Tab& from, const Json& message);
    void exportThem(int tab, Tab& from, const Json& message);
    void stopExport(int tab, Tab& from, const Json& message);
    void savePreset(int tab, Tab& from, const Json& message);
    void deletePreset(int tab, Tab& from, const Json& message);
    void stepTo(int tab, Tab& from, const Json& message, bool stepped);
    const std::string& known(const Json& name) const;
    std::set<std::string> knownOnes(const Json& names) const;

    // Photographs and their settings: desk.cpp.
    Photograph* shownBy(const Tab& tab) const;
    History& historyOf(const std::string& photo);
    RecipePtr savedRecipe(const std::string& photo);
    void save(const std::string& photo);
    void settle(const std::string& photo, int byTab);
    void startOpening(const std::string& photo);
    PhotographEvents eventsOf(const std::string& photo, int serial);
    void closeUnused(const std::string& photo);
    void retire(const std::string& photo);
    void onOpened(const std::string& photo, cv::Size size);
    void onSaved(const std::string& path, const std::string& fault);
    ExportEvents exportEvents();

    void tell(const Json& message);                                        ///< All tabs.
    void tell(const std::string& photo, const Json& message, int but = 0); ///< Those that show it.
    Json settingsOf(const std::string& photo, const char* type);
    Json presets() const;
    std::string welcome();

    const Options m_options;
    Server& m_server;
    Folder m_folder;
    Tables m_tables;
    Presets m_presets;
    std::map<std::string, History> m_histories;
    std::set<std::string> m_unreadable;    ///< Whose recipes could not be understood, and are still in place.
    std::map<std::string, int> m_versions; ///< Of thumbnails.
    std::map<int, Tab> m_tabs;
    int m_lastTab = 0, m_lastSerial = 0;
    std::map<std::string, Open> m_open;
    std::map<int, std::shared_ptr<Photograph>> m_retired; ///< By serial, until their threads have ended.
    Saver m_saver;
    Thumbnails m_thumbnails;
    Exports m_exports;
};

} // namespace editor
