#pragma once

#include <QString>
#include <QStringList>

// Where Prepar3D, FSX and MSFS 2020 keep their scenery, read from the files alone, so it works on
// any platform against a copied folder tree (names are matched without regard to case, as
// Windows does). Folder lists are in load order, lowest priority first: an airport read from a
// later folder replaces the same ident from an earlier one, as in the simulator. Stateless.
class SceneryLocator
{
public:
    // BGL folders of a Prepar3D/FSX installation: the active areas of simDir's "scenery.cfg"
    // (by layer; "Local" relative to simDir), then the "Scenery" components of the "add-on.xml"
    // packages in the subfolders of addOnRoots (default: simDir's "Add-ons" folder).
    static QStringList p3dSceneryPaths(const QString &simDir, const QStringList &addOnRoots = QStringList());
    // The MSFS package folder: location may be a "UserCfg.opt" file (its "InstalledPackagesPath"
    // line), a folder holding one, or the package folder itself (it has "Official" or "Community").
    // Empty when none is found.
    static QString msfsPackagesPath(const QString &location);
    // Package folders under a package folder: "Official" (one level deeper, under "OneStore" or
    // "Steam"; the "fs-base" packages first), then "Community".
    static QStringList msfsPackagePaths(const QString &packagesPath);
    // True for a Navigraph navigation-data package (named "navigraph-navdata..." or whose
    // "manifest.json" names Navigraph as creator).
    static bool isNavigraphPackage(const QString &dir);
    // The BGL files of one scenery folder or package: listed by the package's "layout.json" when
    // it has one, else found by walking the folder; sorted by path.
    static QStringList bglFiles(const QString &folder);
};
