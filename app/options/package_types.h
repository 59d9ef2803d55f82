// The package types that the program serves, one row each. Whatever differs between them is here;
// everything else asks this table.
#pragma once

#include <span>
#include <string_view>

namespace zendro::app {

/// A row of the table.
struct PackageType {
  /// The value of the option "pkg.type", and the folder of the type's packages: in lower case.
  std::string_view word;
  // What messages call one package, and several.
  std::wstring_view label;
  std::wstring_view plural_label;
  /// The number of the window's caption among the texts of the window.
  int caption = 0;
  /// What the name of a package file ends with.
  std::string_view file_extension;
  /// The name of the default cache root in the install root. Nobody's package lives there.
  std::string_view cache_folder;
  /// The path of the manager program, below the application data of all users.
  std::string_view manager;
  /// The program serves this type where its path contains the word; empty: where no path contains
  /// the word of another type.
  std::string_view program_word;
};

/// All rows.
std::span<const PackageType> package_types();

/// The row with this word. For a word that no row has, a row in which everything is empty.
const PackageType& package_type(std::string_view word);

/// The type that the program serves when started under this first element of the argument vector.
/// Case matters.
const PackageType& type_of_program(std::string_view argv0);

/// Puts other rows in the place of the table and returns those that were there, so that tests can
/// show what one row more changes. Not while other threads use the table.
std::span<const PackageType> replace_package_types(std::span<const PackageType> types);

}  // namespace zendro::app
