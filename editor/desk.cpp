#include "desk.h"
#include "page_files.h"
#include <pixmill/develop/recipe_table.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace editor {

using namespace pixmill;

namespace {

Json parsedRecipe(const Recipe& recipe)
{
    return Json::parse(recipeToJson(recipe));
}

std::string keysAsJson()
{
    Json keys = Json::array();
    for (const RecipeKey& key : recipeKeys())
        keys.push_back({{"key", key.key},
                        {"values", key.values},
                        {"unit", key.unit},
                        {"neutral", key.neutral},
                        {"text", key.text}});
    return Json{{"keys", keys}, {"neutral", parsedRecipe(Recipe())}}.dump();
}

/// %41 as A.
std::string unescaped(const std::string& text)
{
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escape = text[i] == '%' && i + 2 < text.size() &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
                            std::isxdigit(static_cast<unsigned char>(text[i + 2]));
        out += escape ? char(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
        i += escape ? 2 : 0;
    }
    return out;
}

} // namespace

Desk::Desk(const Options& options, const Surroundings& around, Server& server)
    : m_options(options), m_server(server), m_folder(options.place), m_tables(m_folder.path()),
      m_saver([this](const std::string& path, const std::string& fault) {
          m_server.post([this, path, fault] { onSaved(path, fault); });
      }),
      m_exports(around, exportEvents())
{
    removeUnfinished(m_folder.path());
}

/// Nothing is lost: what was being moved comes to rest. Photographs end before what their threads use.
Desk::~Desk()
{
    for (const auto& [number, tab] : m_tabs)
        if (tab.moving)
            save(tab.photo);
    m_open.clear();
    m_retired.clear();
}

void Desk::get(const std::string& path, std::function<void(Reply)> answer)
{
    const std::string name = path.substr(0, path.find('?'));
    if (name == "keys.json")
        return answer({200, "application/json", keysAsJson()});
    if (name.rfind("thumb/", 0) == 0) {
        const std::string photo = unescaped(name.substr(6));
        if (!m_folder.has(photo))
            return answer({404, "text/plain", "No such photograph.\n"});
        return m_thumbnails.make(m_folder.photo(photo), historyOf(photo).current(), [answer](std::string jpeg) {
            answer(jpeg.empty() ? Reply{404, "text/plain", "No picture.\n"}
                                : Reply{200, "image/jpeg", std::move(jpeg)});
        });
    }
    for (const PageFile& file : pageFiles())
        if (name == file.name)
            return answer({200, file.type, std::string(file.text)});
    answer({404, "text/plain", "Not here.\n"});
}

int Desk::join(std::shared_ptr<Connection> connection)
{
    connection->send(welcome());
    m_tabs[++m_lastTab] = {std::move(connection), "", false};
    return m_lastTab;
}

void Desk::take(int tab, const std::string& text)
{
    const auto from = m_tabs.find(tab);
    if (from == m_tabs.end())
        return;
    std::string about;
    try {
        const Json message = checkedMessage(text);
        about = message["type"];
        (this->*takes().at(about))(tab, from->second, message);
    } catch (const Refused& fault) {
        from->second.line->send(errorMessage(fault.about, fault.what()));
    } catch (const std::exception& fault) {
        from->second.line->send(errorMessage(about, fault.what()));
    }
}

/// A tab that closed while it moved something leaves it as it was.
void Desk::leave(int tab)
{
    const auto found = m_tabs.find(tab);
    if (found == m_tabs.end())
        return;
    const Tab gone = found->second;
    m_tabs.erase(found);
    if (gone.photo.empty())
        return;
    if (Photograph* photograph = shownBy(gone))
        photograph->leave(tab);
    if (gone.moving)
        settle(gone.photo, 0);
    closeUnused(gone.photo);
}

Photograph* Desk::shownBy(const Tab& tab) const
{
    const auto open = m_open.find(tab.photo);
    return open == m_open.end() ? nullptr : open->second.photograph.get();
}

/// The recipe beside the photograph; neutral where there is none, or none that can be understood.
RecipePtr Desk::savedRecipe(const std::string& photo)
{
    const std::string path = m_folder.recipe(photo);
    try {
        const std::string text = contentsOf(path);
        return text.empty() ? std::make_shared<Recipe>() : recipeFrom(text, m_tables);
    } catch (const Error& fault) {
        m_unreadable.insert(photo);
        tell({{"type", "error"}, {"about", "recipe"}, {"text", path + ": begun anew, since " + fault.what()}});
        return std::make_shared<Recipe>();
    }
}

History& Desk::historyOf(const std::string& photo)
{
    const auto known = m_histories.find(photo);
    return known != m_histories.end() ? known->second
                                      : m_histories.emplace(photo, History(savedRecipe(photo))).first->second;
}

/// Saves what is current. A recipe that could not be understood is kept aside, so that nothing is lost.
void Desk::save(const std::string& photo)
{
    const std::string path = m_folder.recipe(photo);
    std::error_code failed;
    if (m_unreadable.erase(photo))
        std::filesystem::rename(path, path + ".unreadable", failed);
    m_saver.save(path, recipeToJson(*historyOf(photo).current()));
}

/// What is current came to rest: saved, and told to the photograph's other tabs.
void Desk::settle(const std::string& photo, int byTab)
{
    History& history = historyOf(photo);
    history.rest(history.current());
    save(photo);
    const auto open = m_open.find(photo);
    if (open != m_open.end() && byTab == 0)
        open->second.photograph->settings(history.current(), false, -1, 0);
    tell(photo, settingsOf(photo, "recipe"), byTab);
    tell({{"type", "thumb"}, {"photo", photo}, {"version", ++m_versions[photo]}});
}

void Desk::startOpening(const std::string& photo)
{
    Open& open = m_open[photo];
    open.serial = ++m_lastSerial;
    open.photograph =
        std::make_shared<Photograph>(m_folder.photo(photo), historyOf(photo).current(), eventsOf(photo, open.serial));
}

/// Brings what a photograph's thread tells to the server's. A retired one is listened to no more.
PhotographEvents Desk::eventsOf(const std::string& photo, int serial)
{
    const auto post = [this, photo, serial](std::function<void()> work) {
        m_server.post([this, photo, serial, work = std::move(work)] {
            const auto open = m_open.find(photo);
            if (open != m_open.end() && open->second.serial == serial)
                work();
        });
    };
    PhotographEvents events;
    events.opening = [this, photo, post](double share) {
        post([=] { tell(photo, {{"type", "opening"}, {"photo", photo}, {"share", share}}); });
    };
    events.read = [this, photo, post](const cv::Mat& small) {
        m_thumbnails.keep(m_folder.photo(photo), small);
        post([=] { tell(photo, {{"type", "preview"}, {"photo", photo}}); });
    };
    events.opened = [this, photo, post](cv::Size size) { post([=] { onOpened(photo, size); }); };
    events.failed = [this, photo, post](const std::string& fault) {
        post([=] { tell(photo, {{"type", "error"}, {"about", "photo"}, {"text", fault}}); });
    };
    events.frame = [this, photo, post](int tab, FramePtr frame) {
        post([=] {
            const auto to = m_tabs.find(tab);
            if (to != m_tabs.end() && to->second.photo == photo)
                to->second.line->send(frame);
        });
    };
    events.ended = [this, photo, post, serial] {
        post([=] { retire(photo); });
        m_server.post([=] { m_retired.erase(serial); });
    };
    return events;
}

/// Nobody looks any more: opening is cancelled; one that is open stays at hand until another takes that place.
void Desk::closeUnused(const std::string& photo)
{
    const auto isShown = [this](const std::string& name) {
        return std::any_of(m_tabs.begin(), m_tabs.end(), [&](const auto& tab) { return tab.second.photo == name; });
    };
    std::vector<std::string> unused;
    for (const auto& [name, open] : m_open)
        if (!isShown(name) && (name != photo || open.size.empty()))
            unused.push_back(name);
    for (const std::string& name : unused)
        retire(name);
}

void Desk::retire(const std::string& photo)
{
    const auto open = m_open.find(photo);
    if (open == m_open.end())
        return;
    open->second.photograph->stop();
    m_retired[open->second.serial] = open->second.photograph;
    m_open.erase(open);
}

void Desk::onOpened(const std::string& photo, cv::Size size)
{
    m_open[photo].size = size;
    tell(photo, {{"type", "opened"}, {"photo", photo}, {"width", size.width}, {"height", size.height}});
}

void Desk::onSaved(const std::string& path, const std::string& fault)
{
    if (fault.empty())
        tell({{"type", "saved"}, {"file", std::filesystem::path(path).filename().string()}});
    else
        tell({{"type", "error"}, {"about", "save"}, {"text", path + ": cannot be saved: " + fault}});
}

ExportEvents Desk::exportEvents()
{
    const auto post = [this](const Json& message) { m_server.post([this, message] { tell(message); }); };
    const auto nameOf = [](const Export& one) { return std::filesystem::path(one.in).filename().string(); };
    ExportEvents events;
    events.share = [=](const Export& one, int done, int total, double share) {
        post({{"type", "exporting"}, {"photo", nameOf(one)}, {"done", done}, {"total", total}, {"share", share}});
    };
    events.failed = [=](const Export& one, const std::string& fault) {
        post({{"type", "error"}, {"about", "export"}, {"text", nameOf(one) + ": " + fault}});
    };
    events.ended = [=](int done, int failed, bool stopped) {
        post({{"type", "exported"},
              {"done", done},
              {"failed", failed},
              {"stopped", stopped},
              {"folder", m_options.out}});
    };
    return events;
}

void Desk::tell(const Json& message)
{
    const std::string text = message.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (const auto& tab : m_tabs)
        tab.second.line->send(text);
}

void Desk::tell(const std::string& photo, const Json& message, int but)
{
    const std::string text = message.dump(-1, ' ', false, Json::error_handler_t::replace);
    for (const auto& [number, tab] : m_tabs)
        if (tab.photo == photo && number != but)
            tab.line->send(text);
}

Json Desk::settingsOf(const std::string& photo, const char* type)
{
    const History& history = historyOf(photo);
    return {{"type", type},
            {"photo", photo},
            {"recipe", parsedRecipe(*history.current())},
            {"undos", history.undos()},
            {"redos", history.redos()}};
}

Json Desk::presets() const
{
    return {{"type", "presets"}, {"presets", m_presets.all()}};
}

std::string Desk::welcome()
{
    Json photos = Json::array();
    for (const std::string& name : m_folder.names())
        photos.push_back({{"name", name}, {"version", m_versions[name]}});
    const Json message{{"type", "welcome"}, {"folder", m_folder.path()},  {"out", m_options.out},
                       {"photos", photos},  {"tables", m_tables.names()}, {"presets", m_presets.all()}};
    return message.dump(-1, ' ', false, Json::error_handler_t::replace);
}

} // namespace editor
