#pragma once

#include <pixmill/develop/Recipe.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace editor {

using RecipePtr = std::shared_ptr<const pixmill::Recipe>;

/// The folder's tables of colours, each read when a recipe first names it.
class Tables {
public:
    explicit Tables(std::string folder) : m_folder(std::move(folder)) {}

    /// The names of the `.cube` files that lie in the folder.
    std::vector<std::string> names() const;

    /// @throws Error  a name that is none of `names()`, or what Table3D::load throws.
    pixmill::Table3D load(const std::string& name);

private:
    std::string m_folder;
    std::map<std::string, pixmill::Table3D> m_known;
};

/// A recipe from JSON, with its table from the folder. @throws Error  also where its masks would take too long.
RecipePtr recipeFrom(const std::string& json, Tables& tables);

/// A photograph's settings: what was, what is, and what was undone.
class History {
public:
    explicit History(RecipePtr first) : m_states{std::move(first)}, m_live(m_states[0]) {}

    const RecipePtr& current() const { return m_live; }

    /// Settings that are still being moved.
    void move(RecipePtr recipe) { m_live = std::move(recipe); }

    /// Settings that came to rest: a step, unless they are what was. @return whether they are a step.
    bool rest(RecipePtr recipe);

    /// Takes a step back or forward. @return whether there was one.
    bool undo();
    bool redo();

    int undos() const { return int(m_at); }
    int redos() const { return int(m_states.size() - 1 - m_at); }

private:
    std::vector<RecipePtr> m_states;
    std::size_t m_at = 0;
    RecipePtr m_live;
};

} // namespace editor
