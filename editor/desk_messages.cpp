// What each message of a page does.
#include "desk.h"
#include <pixmill/develop/Error.h>

#include <algorithm>
#include <filesystem>

namespace editor {

using namespace pixmill;

namespace {

constexpr int kMostPixels = 40'000'000; ///< Of a view.

std::uint64_t seqOf(const Json& message)
{
    return message["seq"].get<std::uint64_t>();
}

std::string endingOf(const std::string& format)
{
    return format == "jpeg" ? ".jpg" : format == "png" ? ".png" : ".tif";
}

} // namespace

const std::map<std::string, Desk::Take>& Desk::takes()
{
    static const std::map<std::string, Take> all{{"open", &Desk::open},
                                                 {"view", &Desk::view},
                                                 {"recipe", &Desk::recipe},
                                                 {"undo", &Desk::undo},
                                                 {"redo", &Desk::redo},
                                                 {"ack", &Desk::acknowledge},
                                                 {"apply", &Desk::apply},
                                                 {"export", &Desk::exportThem},
                                                 {"stopExport", &Desk::stopExport},
                                                 {"savePreset", &Desk::savePreset},
                                                 {"deletePreset", &Desk::deletePreset}};
    return all;
}

/// The name of a photograph of the folder, from a message. @throws Refused
const std::string& Desk::known(const Json& name) const
{
    const std::string& text = name.get_ref<const std::string&>();
    if (!m_folder.has(text))
        throw Refused("photo", "no such photograph");
    return text;
}

/// Those that a message names, each once. @throws Refused  for one that is not there.
std::set<std::string> Desk::knownOnes(const Json& names) const
{
    std::set<std::string> ones;
    for (const Json& name : names)
        ones.insert(known(name));
    return ones;
}

void Desk::open(int tab, Tab& from, const Json& message)
{
    const std::string photo = known(message["photo"]), before = from.photo;
    if (Photograph* photograph = shownBy(from))
        photograph->leave(tab);
    if (from.moving && !before.empty())
        settle(before, 0);
    from.moving = false;
    from.photo = photo;
    if (!before.empty() && before != photo)
        closeUnused(before);
    from.line->send(settingsOf(photo, "photo").dump());
    const auto open = m_open.find(photo);
    if (open == m_open.end())
        startOpening(photo);
    else if (!open->second.size.empty())
        onOpened(photo, open->second.size);
}

void Desk::view(int tab, Tab& from, const Json& message)
{
    View view;
    view.place = {message["x"], message["y"], message["width"], message["height"]};
    view.scale = message["scale"];
    view.before = message["before"];
    view.clipping = message["clipping"];
    view.mask = message["mask"];
    if (view.place.area() > kMostPixels)
        throw Refused("view", "more pixels than any screen has");
    if (Photograph* photograph = shownBy(from))
        photograph->view(tab, view, !message["rest"].get<bool>(), seqOf(message));
}

void Desk::recipe(int tab, Tab& from, const Json& message)
{
    Photograph* const photograph = shownBy(from);
    if (!photograph)
        throw Refused("recipe", "no photograph is open");
    const RecipePtr made = recipeFrom(message["recipe"].dump(), m_tables);
    from.moving = !message["rest"].get<bool>();
    historyOf(from.photo).move(made);
    photograph->settings(made, from.moving, tab, seqOf(message));
    if (from.moving)
        return;
    settle(from.photo, tab);
    Json steps = settingsOf(from.photo, "steps");
    steps.erase("recipe"); // the page has it
    from.line->send(steps.dump());
}

/// After undo and redo: every tab is told, the asking one too.
void Desk::stepTo(int tab, Tab& from, const Json& message, bool stepped)
{
    from.moving = false;
    if (!stepped)
        return;
    if (Photograph* photograph = shownBy(from))
        photograph->settings(historyOf(from.photo).current(), false, tab, seqOf(message));
    settle(from.photo, -1);
}

void Desk::undo(int tab, Tab& from, const Json& message)
{
    if (!from.photo.empty())
        stepTo(tab, from, message, historyOf(from.photo).undo());
}

void Desk::redo(int tab, Tab& from, const Json& message)
{
    if (!from.photo.empty())
        stepTo(tab, from, message, historyOf(from.photo).redo());
}

void Desk::acknowledge(int tab, Tab& from, const Json& message)
{
    if (Photograph* photograph = shownBy(from))
        photograph->acknowledge(tab, message["frame"].get<std::uint64_t>());
}

void Desk::apply(int, Tab&, const Json& message)
{
    const RecipePtr made = recipeFrom(message["recipe"].dump(), m_tables);
    for (const std::string& name : knownOnes(message["photos"])) {
        historyOf(name).move(made);
        settle(name, 0);
    }
}

/// Exports take the recipes as they are now, and never the place of a photograph.
void Desk::exportThem(int, Tab&, const Json& message)
{
    const std::string format = message["format"];
    const int depth = message["depth"];
    if ((format != "jpeg" && format != "png" && format != "tiff") || (depth != 0 && depth != 8 && depth != 16))
        throw Refused("export", "format: wanted jpeg, png or tiff; depth: 0, 8 or 16");
    std::set<std::string> taken;
    std::vector<Export> batch;
    for (const std::string& name : knownOnes(message["photos"])) {
        const std::filesystem::path own = name;
        const std::string plain = own.stem().string() + endingOf(format);
        const std::string out = taken.insert(plain).second ? plain : own.string() + endingOf(format);
        taken.insert(out);
        batch.push_back({m_folder.photo(own), (std::filesystem::path(m_options.out) / out).string(), format, depth,
                         message["quality"], *historyOf(name).current()});
    }
    std::error_code failed;
    std::filesystem::create_directories(m_options.out, failed);
    if (failed || std::filesystem::equivalent(m_options.out, m_folder.path(), failed))
        throw Refused("export", m_options.out + ": no folder for exports");
    if (!m_exports.start(std::move(batch)))
        throw Refused("export", "an export is still at work");
}

void Desk::stopExport(int, Tab&, const Json&)
{
    m_exports.stop();
}

void Desk::savePreset(int, Tab&, const Json& message)
{
    recipeFrom(message["recipe"].dump(), m_tables);
    m_presets.put(message["name"], message["recipe"], m_saver);
    tell(presets());
}

void Desk::deletePreset(int, Tab&, const Json& message)
{
    m_presets.remove(message["name"], m_saver);
    tell(presets());
}

} // namespace editor
