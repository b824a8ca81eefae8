#include "frame/tolvar_view.h"

#include <algorithm>

#include "ui/profile_font.h"

namespace tolvar {

void CTolvarView::DeleteLater::operator()(Pane* form) const
{
    form->Widget().hide();
    form->Widget().deleteLater();
}

CTolvarView::CTolvarView(const PaneContext& context, QWidget* parent)
    : CPaneView(parent), m_context(context), m_list(MakeValueList(context, this))
{
    if (context.window.m_bThemed) {
        QPalette colors = palette();
        colors.setColor(QPalette::Window, ColorFromNumber(context.window.theme.Number(ThemeTextId::kPaneColor)));
        setPalette(colors);
        setAutoFillBackground(true);
    }
}

CTolvarView::~CTolvarView()
{
    m_pForm.reset();
}

std::vector<Pane*> CTolvarView::Panes() const
{
    std::vector<Pane*> panes = {&m_list};
    for (const auto& [id, pane] : m_staying) {
        panes.push_back(pane);
    }
    if (m_pForm) {
        panes.push_back(m_pForm.get());
    }
    return panes;
}

Pane& CTolvarView::ActivePane() const
{
    if (m_pForm) {
        return *m_pForm;
    }
    const auto visible =
        std::ranges::find_if(m_staying, [](const auto& page) { return !page.second->Widget().isHidden(); });
    return visible != m_staying.end() ? *visible->second : m_list;
}

Pane* CTolvarView::PaneFor(CommandId command) const
{
    Pane& active = ActivePane();
    return active.Offers(command) ? &active : nullptr;
}

void CTolvarView::ShowPage(const ShowPageMessage& message)
{
    const RightPage* const page = FindRightPage(message.page);
    m_pForm.reset();
    for (const auto& [id, pane] : m_staying) {
        if (id != message.page) {
            pane->Widget().hide();
        }
    }
    if (page == nullptr) {
        ShowList();
        return;
    }
    m_list.Widget().hide();
    Pane& pane = PaneOf(*page);
    PlaceChildren();
    pane.Widget().show();
    pane.Open(message);
}

/// The page's pane, which is made where there is none.
Pane& CTolvarView::PaneOf(const RightPage& page)
{
    if (const auto kept = m_staying.find(page.id); kept != m_staying.end()) {
        return *kept->second;
    }
    Pane& made = page.make(m_context, this);
    made.Widget().setProperty("pageId", static_cast<int>(page.id));
    if (page.life == RightPage::Life::kStays) {
        m_staying.emplace(page.id, &made);
    } else {
        m_pForm.reset(&made);
    }
    return made;
}

void CTolvarView::ShowList()
{
    PlaceChildren();
    m_list.Widget().show();
}

void CTolvarView::PlaceChildren()
{
    for (const Pane* pane : Panes()) {
        pane->Widget().setGeometry(rect());
    }
}

void CTolvarView::resizeEvent(QResizeEvent* event)
{
    CPaneView::resizeEvent(event);
    PlaceChildren();
}

/// Back to the list, which any form gives way to.
void CTolvarView::EndForm()
{
    m_pForm.reset();
    ShowList();
}

bool CTolvarView::event(QEvent* event)
{
    const auto endAndFocus = [this](const auto&) {
        EndForm();
        FocusChild();
    };
    return HandleMessage<ShowPageMessage>(event, [this](const auto& m) { ShowPage(m); }) ||
           HandleMessage<SelectRowMessage>(event, [this](const auto&) { EndForm(); }) ||
           HandleMessage<FormDoneMessage>(event, endAndFocus) ||
           HandleMessage<StartSearchMessage>(event, endAndFocus) || CPaneView::event(event);
}

} // namespace tolvar
