// The toolbox as a page: a wipe, views at 1:1, calls, curves. No network: style, script and pictures lie beside it.
#include "photo.h"
#include "report.h"
#include "toolbox.h"

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

/// A heading that may break where its names do.
std::string breakable(const std::string& name)
{
    std::string out = escaped(name);
    for (size_t at = 0; (at = out.find("::", at)) != std::string::npos; at += 7)
        out.insert(at + 2, "<wbr>");
    return out;
}

/// A name for a file: letters and digits, the rest a hyphen.
std::string fileName(const std::string& text)
{
    std::string out;
    for (const unsigned char c : text)
        if (std::isalnum(c))
            out += char(std::tolower(c));
        else if (!out.empty() && out.back() != '-')
            out += '-';
    return out;
}

/// What the shots have in one of their words, each once, in their order.
std::vector<std::string> distinct(const std::vector<Shot>& shots, std::string Shot::*word)
{
    std::vector<std::string> out;
    for (const Shot& shot : shots)
        if (std::find(out.begin(), out.end(), shot.*word) == out.end())
            out.push_back(shot.*word);
    return out;
}

size_t indexOf(const std::vector<std::string>& words, const std::string& word)
{
    return size_t(std::find(words.begin(), words.end(), word) - words.begin());
}

/// One filter's section.
class Section {
public:
    Section(const Entry& entry, const fs::path& folder)
        : m_entry(entry), m_folder(folder), m_id(fileName(entry.name)),
          m_settings(distinct(entry.after, &Shot::setting)), m_forms(distinct(entry.after, &Shot::form))
    {
    }

    std::string html()
    {
        keepPictures();
        m_html << "<section id=\"" << m_id << "\">\n<h2>" << breakable(m_entry.name) << "</h2>\n<p>"
               << escaped(m_entry.purpose) << " <span class=\"faint\">Shown: " << escaped(m_entry.scene)
               << ".</span></p>\n<div class=\"look" << (m_entry.enlarged ? " alone enlarged" : "") << "\">\n";
        wipe();
        if (!m_entry.enlarged)
            panes();
        m_html << "</div>\n</section>\n";
        return m_html.str();
    }

private:
    std::string file(size_t i) const { return m_id + cv::format("-%zu.", i) + (m_entry.enlarged ? "png" : "jpg"); }

    void keepPictures() const
    {
        store((m_folder / file(0)).string(), m_entry.before);
        for (size_t i = 0; i < m_entry.after.size(); ++i)
            store((m_folder / file(i + 1)).string(), m_entry.after[i].picture);
    }

    std::string image(size_t i, const std::string& attributes, const std::string& alt) const
    {
        const cv::Mat& pixels = m_entry.before;
        return "<img src=\"toolbox/" + file(i) + cv::format("\" width=\"%d\" height=\"%d\"", pixels.cols, pixels.rows) +
               " loading=\"lazy\" draggable=\"false\" " + attributes + " alt=\"" + escaped(alt) + "\">\n";
    }

    std::string shotAttributes(const Shot& shot, bool anyForm) const
    {
        const std::string setting =
            cv::format("class=\"shot\" data-setting=\"%zu\"", indexOf(m_settings, shot.setting));
        return anyForm ? setting : setting + cv::format(" data-form=\"%zu\"", indexOf(m_forms, shot.form));
    }

    static std::string nameOf(const Shot& shot)
    {
        return shot.form.empty() ? shot.setting : shot.form + ", " + shot.setting;
    }

    void wipe()
    {
        m_html << "<figure class=\"wipe\">\n<div class=\"stage\" style=\"--at:50%;aspect-ratio:" << m_entry.before.cols
               << "/" << m_entry.before.rows << "\">\n";
        for (size_t i = 0; i < m_entry.after.size(); ++i)
            m_html << image(i + 1, shotAttributes(m_entry.after[i], false), "after: " + nameOf(m_entry.after[i]));
        m_html << image(0, "class=\"before\"", m_entry.beforeIs + ": " + m_entry.scene)
               << "<span class=\"tag left\" aria-hidden=\"true\">" << escaped(m_entry.beforeIs)
               << "</span><span class=\"tag right\" aria-hidden=\"true\">after</span>\n"
               << (m_entry.enlarged ? "" : "<div class=\"frame\"></div>")
               << "<div class=\"line\"></div><input type=\"range\" min=\"0\" max=\"100\" step=\"1\" value=\"50\" "
                  "aria-label=\""
               << escaped(m_entry.name) << ": wipe from after to before\">\n</div>\n<div class=\"choices\">\n";
        choice("setting", "Setting", m_settings);
        if (m_forms.size() > 1)
            choice("form", "Form", m_forms);
        m_html << "</div>\n<figcaption class=\"calls\">\n";
        for (const Shot& shot : m_entry.after)
            m_html << "<code " << shotAttributes(shot, false) << ">" << escaped(shot.call) << "</code>\n";
        m_html << "</figcaption>\n</figure>\n";
    }

    void choice(const char* kind, const char* legend, const std::vector<std::string>& words)
    {
        m_html << "<fieldset><legend>" << legend << "</legend>\n";
        for (size_t i = 0; i < words.size(); ++i)
            m_html << "<label><input type=\"radio\" name=\"" << m_id << "-" << kind << "\" data-kind=\"" << kind
                   << "\" value=\"" << i << "\"" << (i ? "" : " checked") << "><span>" << escaped(words[i])
                   << "</span></label>\n";
        m_html << "</fieldset>\n";
    }

    void panes()
    {
        m_html << "<div class=\"panes\">\n";
        if (m_entry.formsBeside) {
            for (const std::string& form : m_forms)
                pane(form, shots([&](const Shot& shot) { return shot.form == form; }, true));
        } else {
            pane("before", image(0, "", ""));
            pane("after", shots([](const Shot&) { return true; }, false));
        }
        m_html << "</div>\n";
    }

    template <class Wanted>
    std::string shots(const Wanted& wanted, bool anyForm) const
    {
        std::string out;
        for (size_t i = 0; i < m_entry.after.size(); ++i)
            if (wanted(m_entry.after[i]))
                out += image(i + 1, shotAttributes(m_entry.after[i], anyForm), "");
        return out;
    }

    void pane(const std::string& what, const std::string& images)
    {
        m_html << "<figure><figcaption>" << escaped(what)
               << ", 1:1</figcaption>\n<div class=\"pane\" tabindex=\"0\" role=\"group\" aria-label=\""
               << escaped(m_entry.name + ", " + what) << ", at 1:1; arrow keys move it\" data-x=\"" << m_entry.focus.x
               << "\" data-y=\"" << m_entry.focus.y << "\">\n<div class=\"stack\" style=\"--w:" << m_entry.before.cols
               << ";--h:" << m_entry.before.rows << "\">\n"
               << images << "</div>\n</div></figure>\n";
    }

    const Entry& m_entry;
    const fs::path& m_folder;
    const std::string m_id;
    const std::vector<std::string> m_settings, m_forms;
    std::ostringstream m_html;
};

std::string headOf(const std::vector<Entry>& entries)
{
    std::string html = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<title>The toolbox of libpixmill</title>\n<style>";
    html += kPageStyle;
    html +=
        "</style>\n</head>\n<body>\n<h1>The toolbox</h1>\n<p>Every filter on a part of a photograph that shows what "
        "it does. Drag across a picture, or focus it and use the arrow keys, to wipe between before and after. "
        "Beside it both at 1:1, a pixel of the picture on a pixel of the screen: drag or scroll; the thin frame "
        "in the picture tells where they are.</p>\n"
        "<noscript><p>The wipe and the switches need scripts; the pictures themselves lie in "
        "<a href=\"toolbox/\">toolbox/</a>.</p></noscript>\n<nav aria-label=\"Filters\"><ul>\n";
    for (const Entry& entry : entries)
        html += "<li><a href=\"#" + fileName(entry.name) + "\">" + breakable(entry.name) + "</a></li>\n";
    return html + "<li><a href=\"#curves\">The curves</a></li>\n</ul></nav>\n<main>\n";
}

std::string curvesOf(const std::vector<Plot>& plots)
{
    std::string html = "<section id=\"curves\">\n<h2>The curves behind them</h2>\n<p>Out of the library's own "
                       "tables.</p>\n<div class=\"plots\">\n";
    for (const Plot& plot : plots)
        html += "<figure><h3>" + escaped(plot.title) + "</h3>\n" + svgOf(plot) + "<figcaption>" +
                escaped(plot.caption) + "</figcaption></figure>\n";
    return html + "</div>\n</section>\n</main>\n";
}

} // namespace

std::string escaped(const std::string& text)
{
    std::string out;
    for (const char c : text)
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    return out;
}

void writePage(const std::string& out, const std::vector<Entry>& entries, const std::vector<Plot>& plots)
{
    const fs::path folder = fs::path(out) / "toolbox";
    fs::create_directories(folder);
    const std::string path = (fs::path(out) / "toolbox.html").string();
    std::ofstream file(path, std::ios::binary);
    file << headOf(entries);
    for (const Entry& entry : entries)
        file << Section(entry, folder).html();
    file << curvesOf(plots) << "<script>" << kPageScript << "</script>\n</body>\n</html>\n";
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path);
    wrote(path);
}
