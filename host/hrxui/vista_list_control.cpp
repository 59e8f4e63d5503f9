// The navigation list: its items in the order shown, a list box that shows them (row i is
// item i), and the selection notification to the dialog. The items live without a window
// too, so a dialog without navigation still selects and is told.
#include "hrx/hrxui.h"

namespace hrx {

namespace {

std::wstring Text(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

std::wstring Shown(const CVLCTreeNode& node) {
    return std::wstring(static_cast<size_t>(node.level) * 4, L' ') + node.text;
}

}  // namespace

CVLCTreeNode* CVistaListControl::InsertItem(const wchar_t* id, const wchar_t* parentId,
                                            const wchar_t* text, int32_t image,
                                            int32_t selectedImage, void* data) {
    auto node = std::make_unique<CVLCTreeNode>();
    node->id = Text(id);
    node->parentId = Text(parentId);
    node->text = Text(text);
    node->image = image;
    node->selectedImage = selectedImage;
    node->data = data;

    size_t at = nodes_.size();
    if (!node->parentId.empty()) {
        for (size_t i = 0; i < nodes_.size(); ++i) {
            if (nodes_[i]->id != node->parentId)
                continue;
            node->level = nodes_[i]->level + 1;
            // After the parent's last descendant, so that children keep their order.
            at = i + 1;
            while (at < nodes_.size() && nodes_[at]->level >= node->level)
                ++at;
            break;
        }
    }
    CVLCTreeNode* inserted = node.get();
    nodes_.insert(nodes_.begin() + static_cast<std::ptrdiff_t>(at), std::move(node));
    if (list_ != nullptr) {
        const std::wstring shown = Shown(*inserted);
        SendMessageW(list_, LB_INSERTSTRING, at, reinterpret_cast<LPARAM>(shown.c_str()));
    }
    return inserted;
}

bool CVistaListControl::SelectItem(const wchar_t* id) {
    const std::wstring wanted = Text(id);
    for (size_t i = 0; i < nodes_.size(); ++i) {
        if (nodes_[i]->id != wanted)
            continue;
        if (list_ != nullptr)
            SendMessageW(list_, LB_SETCURSEL, i, 0);
        Select(nodes_[i].get());
        return true;
    }
    return false;
}

void CVistaListControl::Attach(HWND owner, HWND list) {
    owner_ = owner;
    list_ = list;
    if (list_ == nullptr)
        return;
    // Items inserted before the window existed.
    for (size_t i = 0; i < nodes_.size(); ++i) {
        const std::wstring shown = Shown(*nodes_[i]);
        SendMessageW(list_, LB_INSERTSTRING, i, reinterpret_cast<LPARAM>(shown.c_str()));
        if (nodes_[i].get() == selected_)
            SendMessageW(list_, LB_SETCURSEL, i, 0);
    }
}

void CVistaListControl::Reset() {
    // The items stand for pages of the window that is going away; a window made again
    // starts from an empty list.
    selected_ = nullptr;
    nodes_.clear();
    owner_ = nullptr;
    list_ = nullptr;
}

void CVistaListControl::OnUserSelection() {
    const LRESULT row = SendMessageW(list_, LB_GETCURSEL, 0, 0);
    if (row < 0 || static_cast<size_t>(row) >= nodes_.size())
        return;
    Select(nodes_[static_cast<size_t>(row)].get());
}

void CVistaListControl::Select(CVLCTreeNode* node) {
    // The list box reports a click on the row already selected too; that is no change.
    if (node == selected_)
        return;
    VLCSELCHANGE change{node, selected_, VLC_SELECTION_CHANGED};
    selected_ = node;  // before the call: the dialog may select again from its handler
    if (owner_ != nullptr) {
        SendMessageW(owner_, WM_VLC_SELCHANGE, 0, reinterpret_cast<LPARAM>(&change));
    }
}

}  // namespace hrx
