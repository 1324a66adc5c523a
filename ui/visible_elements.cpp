#include "ui/visible_elements.h"

#include <algorithm>
#include <string>

namespace tw::ui {

namespace {

using core::Element;
using core::ElementKind;

// Follows the container chain. A chain longer than the form has elements is a loop in the
// layout: shown as hidden rather than hanging the paint.
bool containersVisible(core::MainForm& form, const Element& e, std::size_t limit) {
    std::string container = e.container;
    for (std::size_t hops = 0; !container.empty(); ++hops) {
        const Element* frame = form.find(container);
        if (!frame) {
            return true;
        }
        if (!frame->visible || hops >= limit) {
            return false;
        }
        container = frame->container;
    }
    return true;
}

bool contains(const Element& e, double x, double y) {
    return x >= e.rect.left && x < e.rect.left + e.rect.width && y >= e.rect.top &&
           y < e.rect.top + e.rect.height;
}

}  // namespace

std::vector<const Element*> drawnElements(core::MainForm& form) {
    const std::vector<Element*> all = form.all();
    std::vector<const Element*> frames, others;
    for (const Element* e : all) {
        if (e->kind == ElementKind::Form || e->kind == ElementKind::Timer ||
            e->kind == ElementKind::Menu || !e->visible || e->rect.width <= 0 ||
            e->rect.height <= 0 || !containersVisible(form, *e, all.size())) {
            continue;
        }
        (e->kind == ElementKind::Frame ? frames : others).push_back(e);
    }
    // Shown over the middle panels: in front of everything.
    std::stable_partition(others.begin(), others.end(),
                          [](const Element* e) { return e->name != "lblShowData"; });
    frames.insert(frames.end(), others.begin(), others.end());
    return frames;
}

const Element* elementAt(core::MainForm& form, double x, double y) {
    const std::vector<const Element*> drawn = drawnElements(form);
    const Element* frame = nullptr;
    for (auto it = drawn.rbegin(); it != drawn.rend(); ++it) {
        // The history balloon only shows: a press on it reaches the row under it, so that the
        // operator can go on dragging and picking while it stands there.
        if (!contains(**it, x, y) || (*it)->name == "lblShowData") {
            continue;
        }
        if ((*it)->kind != ElementKind::Frame) {
            return *it;
        }
        if (!frame) {
            frame = *it;
        }
    }
    return frame;
}

}  // namespace tw::ui
