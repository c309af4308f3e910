#include "tree/tree_page.h"

namespace nua::ui {

TreePage::TreePage(nua::Kelvo_Recovery_SoftwareAppDelegate& controller, nua::UiBridge& ui, QWidget* parent)
    : QWidget(parent), controller_(controller), ui_(ui) {}

TreePage::~TreePage() = default;

void TreePage::showResult() {}

}  // namespace nua::ui
