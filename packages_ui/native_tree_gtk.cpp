#include <memory>
#include <utility>

#include <gtk/gtk.h>
#include <wx/version.h>

#include "packages_ui/native_tree.h"

namespace zendro::packages_ui::native_tree {
namespace {

// The toolkit hands GTK a tree model whose iterators hold the number of a row and a stamp that is
// the same for all. GTK asks it through a table of functions, one table for all models of the
// toolkit. The functions below replace those that search. For a model that is not of a package grid
// they call the functions that were there before.
GtkTreeModelIface toolkit_functions;

static_assert(wxCHECK_VERSION(3, 2, 0) && !wxCHECK_VERSION(3, 3, 0),
              "The functions below rely on how wxWidgets 3.2 makes its tree model. For another "
              "version, see in its src/gtk/dataview.cpp that GtkTreeIter::user_data still holds "
              "the item and that all iterators have one stamp, and that get_iter() still reads the "
              "rows on its way; then let zendro_window_tests pass, and allow the version here.");

// What a model of a package grid has attached.
struct Source {
  const PackagesViewbase* view;
  gint stamp;
};

constexpr char kSourceKey[] = "zendro-package-rows";

const Source* source_of(GtkTreeModel* model) {
  return static_cast<const Source*>(g_object_get_data(G_OBJECT(model), kSourceKey));
}

wxDataViewItem item_of(const GtkTreeIter& iter) { return wxDataViewItem(iter.user_data); }

gboolean point_at(const Source& source, GtkTreeIter* iter, const wxDataViewItem& item) {
  *iter = {};
  if (!item.IsOk()) return FALSE;
  iter->stamp = source.stamp;
  iter->user_data = item.GetID();
  return TRUE;
}

// The rows below `parent`, which is null for the top level.
std::size_t child_count(const GridRows& rows, const GtkTreeIter* parent) {
  if (parent == nullptr) return rows.packages().size();
  const auto package = PackagesViewbase::package_of(item_of(*parent));
  return package ? rows.versions(*package).size() : 0;
}

wxDataViewItem child_at(const GridRows& rows, const GtkTreeIter* parent, std::size_t index) {
  if (index >= child_count(rows, parent)) return {};
  if (parent == nullptr) return PackagesViewbase::package_item(rows.packages()[index]);
  const auto package = PackagesViewbase::package_of(item_of(*parent));
  return PackagesViewbase::version_item(rows.versions(*package)[index]);
}

gboolean get_iter(GtkTreeModel* model, GtkTreeIter* iter, GtkTreePath* path) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.get_iter(model, iter, path);
  const GridRows& rows = source->view->rows();
  int depth = 0;
  const gint* indices = gtk_tree_path_get_indices_with_depth(path, &depth);
  GtkTreeIter found = {};
  for (int level = 0; level < depth; ++level) {
    const GtkTreeIter parent = found;
    const bool possible = indices[level] >= 0;
    const auto index = static_cast<std::size_t>(indices[level]);
    if (!possible ||
        !point_at(*source, &found, child_at(rows, level == 0 ? nullptr : &parent, index))) {
      return point_at(*source, iter, {});
    }
  }
  *iter = found;
  return depth > 0;
}

// Null for a row that is not shown.
GtkTreePath* path_of(const PackagesViewbase& view, const wxDataViewItem& item) {
  const GridRows& rows = view.rows();
  std::size_t below = 0;
  auto package = PackagesViewbase::package_of(item);
  const auto row = PackagesViewbase::version_of(item);
  if (row) {
    package = PackagesViewbase::package_of(view.GetParent(item));
    below = rows.position(*package, *row);
  }
  if (!package || rows.position(*package) == GridRows::kNotShown || below == GridRows::kNotShown) {
    return nullptr;
  }
  GtkTreePath* path =
      gtk_tree_path_new_from_indices(static_cast<gint>(rows.position(*package)), -1);
  if (row) gtk_tree_path_append_index(path, static_cast<gint>(below));
  return path;
}

GtkTreePath* get_path(GtkTreeModel* model, GtkTreeIter* iter) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.get_path(model, iter);
  return path_of(*source->view, item_of(*iter));
}

gboolean iter_next(GtkTreeModel* model, GtkTreeIter* iter) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.iter_next(model, iter);
  const GridRows& rows = source->view->rows();
  const wxDataViewItem item = item_of(*iter);
  if (const auto package = PackagesViewbase::package_of(item)) {
    return point_at(*source, iter, child_at(rows, nullptr, rows.position(*package) + 1));
  }
  GtkTreeIter parent;
  if (!point_at(*source, &parent, source->view->GetParent(item))) {
    return point_at(*source, iter, {});
  }
  const auto package = PackagesViewbase::package_of(item_of(parent));
  const auto row = PackagesViewbase::version_of(item);
  return point_at(*source, iter, child_at(rows, &parent, rows.position(*package, *row) + 1));
}

gboolean iter_nth_child(GtkTreeModel* model, GtkTreeIter* iter, GtkTreeIter* parent, gint index) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.iter_nth_child(model, iter, parent, index);
  return point_at(*source, iter,
                  child_at(source->view->rows(), parent, static_cast<std::size_t>(index)));
}

gboolean iter_children(GtkTreeModel* model, GtkTreeIter* iter, GtkTreeIter* parent) {
  if (source_of(model) == nullptr) return toolkit_functions.iter_children(model, iter, parent);
  return iter_nth_child(model, iter, parent, 0);
}

gint iter_n_children(GtkTreeModel* model, GtkTreeIter* iter) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.iter_n_children(model, iter);
  return static_cast<gint>(child_count(source->view->rows(), iter));
}

gboolean iter_has_child(GtkTreeModel* model, GtkTreeIter* iter) {
  if (source_of(model) == nullptr) return toolkit_functions.iter_has_child(model, iter);
  return iter_n_children(model, iter) > 0;
}

gboolean iter_parent(GtkTreeModel* model, GtkTreeIter* iter, GtkTreeIter* child) {
  const Source* source = source_of(model);
  if (source == nullptr) return toolkit_functions.iter_parent(model, iter, child);
  return point_at(*source, iter, source->view->GetParent(item_of(*child)));
}

void take_over_functions(GtkTreeModel* model) {
  static bool taken = false;
  if (std::exchange(taken, true)) return;
  GtkTreeModelIface* functions = GTK_TREE_MODEL_GET_IFACE(model);
  toolkit_functions = *functions;
  functions->get_iter = get_iter;
  functions->get_path = get_path;
  functions->iter_next = iter_next;
  functions->iter_children = iter_children;
  functions->iter_has_child = iter_has_child;
  functions->iter_n_children = iter_n_children;
  functions->iter_nth_child = iter_nth_child;
  functions->iter_parent = iter_parent;
}

using Path = std::unique_ptr<GtkTreePath, decltype(&gtk_tree_path_free)>;

Path shown_path(const PackagesViewbase& view, const wxDataViewItem& item) {
  return {path_of(view, item), gtk_tree_path_free};
}

GtkTreeView* tree_of(const wxDataViewCtrl& control) {
  return GTK_TREE_VIEW(const_cast<wxDataViewCtrl&>(control).GtkGetTreeView());
}

const Source* source_of(const wxDataViewCtrl& control) {
  GtkTreeModel* model = gtk_tree_view_get_model(tree_of(control));
  return model == nullptr ? nullptr : source_of(model);
}

// Makes an item known to the toolkit, which is needed for one that the control has not handed out
// itself.
void introduce(const wxDataViewCtrl& control, const wxDataViewItem& item) {
  const Source* source = source_of(control);
  if (source == nullptr || !PackagesViewbase::version_of(item)) return;
  // The toolkit knows the versions of a package once it has been asked for one.
  const Path path = shown_path(*source->view, item);
  GtkTreeIter iter = {};
  if (path) {
    toolkit_functions.get_iter(gtk_tree_view_get_model(tree_of(control)), &iter, path.get());
  }
}

// Keeps the toolkit from making an event of every row that is expanded or collapsed.
class WithoutEvents {
 public:
  explicit WithoutEvents(wxDataViewCtrl& control) : control_(control) {
    for_each_handler(g_signal_handlers_block_matched);
  }
  ~WithoutEvents() { for_each_handler(g_signal_handlers_unblock_matched); }
  WithoutEvents(const WithoutEvents&) = delete;
  WithoutEvents& operator=(const WithoutEvents&) = delete;

 private:
  template <typename Change>
  void for_each_handler(Change change) {
    for (const char* name :
         {"row-expanded", "row-collapsed", "test-expand-row", "test-collapse-row"}) {
      const auto mask = static_cast<GSignalMatchType>(G_SIGNAL_MATCH_ID | G_SIGNAL_MATCH_DATA);
      change(tree_of(control_), mask, g_signal_lookup(name, GTK_TYPE_TREE_VIEW), 0, nullptr,
             nullptr, &control_);
    }
  }

  wxDataViewCtrl& control_;
};

wxDataViewCheckIconText box_cell(GtkTreeModel* model, const GtkTreeIter& iter) {
  const Source* source = source_of(model);
  return source == nullptr ? wxDataViewCheckIconText() : source->view->box_cell(item_of(iter));
}

void describe_text(GtkTreeViewColumn*, GtkCellRenderer* cell, GtkTreeModel* model,
                   GtkTreeIter* iter, gpointer) {
  g_object_set(cell, "text", box_cell(model, *iter).GetText().utf8_str().data(), nullptr);
}

void describe_box(GtkTreeViewColumn*, GtkCellRenderer* cell, GtkTreeModel* model, GtkTreeIter* iter,
                  gpointer) {
  const wxCheckBoxState state = box_cell(model, *iter).GetCheckedState();
  g_object_set(cell, "active", state == wxCHK_CHECKED, "inconsistent", state == wxCHK_UNDETERMINED,
               nullptr);
}

}  // namespace

void show(wxDataViewCtrl& control, PackagesViewbase& view, GridRows rows) {
  show_nothing(control);
  // The model is made while there are no rows to be searched.
  view.set_rows({});
  control.AssociateModel(&view);
  GtkTreeView* tree = tree_of(control);
  GtkTreeModel* model = gtk_tree_view_get_model(tree);
  g_object_ref(model);
  take_over_functions(model);
  gtk_tree_view_set_model(tree, nullptr);

  view.set_rows(std::move(rows));
  // Makes the toolkit read the top level, and tells the stamp.
  GtkTreeIter first = {};
  const Path path(gtk_tree_path_new_first(), gtk_tree_path_free);
  toolkit_functions.get_iter(model, &first, path.get());
  g_object_set_data_full(G_OBJECT(model), kSourceKey, new Source{&view, first.stamp},
                         [](gpointer source) { delete static_cast<Source*>(source); });
  gtk_tree_view_set_model(tree, model);
  g_object_unref(model);
}

void show_nothing(wxDataViewCtrl& control) {
  // While the view still exists: GTK walks over the rows that it lets go of.
  gtk_tree_view_set_model(tree_of(control), nullptr);
  control.AssociateModel(nullptr);
}

void set_expanded(wxDataViewCtrl& control, std::span<const PackageId> changed,
                  const std::set<PackageId>& expanded) {
  const Source* source = source_of(control);
  if (source == nullptr) return;
  const WithoutEvents without_events(control);
  for (const PackageId package : changed) {
    const Path path = shown_path(*source->view, PackagesViewbase::package_item(package));
    if (!path) continue;
    if (expanded.count(package) != 0) {
      gtk_tree_view_expand_row(tree_of(control), path.get(), FALSE);
    } else {
      gtk_tree_view_collapse_row(tree_of(control), path.get());
    }
  }
}

void make_visible(wxDataViewCtrl& control, const wxDataViewItem& item) {
  const Source* source = source_of(control);
  if (source == nullptr) return;
  const Path path = shown_path(*source->view, item);
  if (!path) return;
  introduce(control, item);
  const Path parent = shown_path(*source->view, source->view->GetParent(item));
  if (parent) gtk_tree_view_expand_row(tree_of(control), parent.get(), FALSE);
  gtk_tree_view_scroll_to_cell(tree_of(control), path.get(), nullptr, FALSE, 0.0F, 0.0F);
}

void set_current(wxDataViewCtrl& control, const wxDataViewItem& item) {
  make_visible(control, item);
  const Source* source = source_of(control);
  if (source == nullptr) return;
  const Path path = shown_path(*source->view, item);
  if (path) gtk_tree_view_set_cursor(tree_of(control), path.get(), nullptr, FALSE);
}

void scroll_to_top(wxDataViewCtrl& control, const wxDataViewItem& item) {
  const Source* source = source_of(control);
  if (source == nullptr) return;
  const Path path = shown_path(*source->view, item);
  if (path) gtk_tree_view_scroll_to_cell(tree_of(control), path.get(), nullptr, TRUE, 0.0F, 0.0F);
}

wxRect rect_of(const wxDataViewCtrl& control, const wxDataViewItem& item,
               const wxDataViewColumn* column) {
  introduce(control, item);
  return control.wxDataViewCtrl::GetItemRect(item, column);
}

void mark_sorted(wxDataViewColumn& column, std::optional<bool> ascending) {
  auto* native = GTK_TREE_VIEW_COLUMN(column.GetGtkHandle());
  gtk_tree_view_column_set_sort_indicator(native, ascending.has_value());
  // GTK's arrow points to where the greater values are.
  gtk_tree_view_column_set_sort_order(
      native, ascending.value_or(true) ? GTK_SORT_ASCENDING : GTK_SORT_DESCENDING);
}

void set_up(wxDataViewCtrl& control, wxDataViewColumn& column, const char* name) {
  atk_object_set_name(gtk_widget_get_accessible(control.GtkGetTreeView()), name);
  // Cells of GTK's own kinds describe themselves, also where they take no room.
  auto* native = GTK_TREE_VIEW_COLUMN(column.GetGtkHandle());
  const auto add = [native](GtkCellRenderer* cell, GtkTreeCellDataFunc describe) {
    gtk_cell_renderer_set_fixed_size(cell, 0, 0);
    gtk_tree_view_column_pack_end(native, cell, FALSE);
    gtk_tree_view_column_set_cell_data_func(native, cell, describe, nullptr, nullptr);
  };
  GtkCellRenderer* box = gtk_cell_renderer_toggle_new();
  g_object_set(box, "activatable", FALSE, nullptr);
  add(gtk_cell_renderer_text_new(), describe_text);
  add(box, describe_box);
  gtk_tree_view_set_enable_search(tree_of(control), FALSE);
}

}  // namespace zendro::packages_ui::native_tree
