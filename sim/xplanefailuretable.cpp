#include "sim/xplanefailuretable.h"

namespace {

struct Row
{
    const char *key; // after the "XPlaneFailure" prefix
    const char *xp11;
    const char *xp12; // nullptr: no such failure on X-Plane 12
};

// Sources: Laminar's DataRefs.txt of X-Plane 11.00, a late X-Plane 11 list and X-Plane 12.x.
// rel_antice is deprecated in 12 but still writable; the old rel_fc_* names are only aliases there.
constexpr Row kRows[] = {
    {"Engfai1", "rel_engfai0", "rel_engfai0"},
    {"Engfai2", "rel_engfai1", "rel_engfai1"},
    {"Engfla1", "rel_engfla0", "rel_engfla0"},
    {"Engfla2", "rel_engfla1", "rel_engfla1"},
    {"Engfir1", "rel_engfir0", "rel_engfir0"},
    {"Engfir2", "rel_engfir1", "rel_engfir1"},
    {"Fuepmp1", "rel_fuepmp0", "rel_fuepmp0"},
    {"Fuepmp2", "rel_fuepmp1", "rel_fuepmp1"},
    {"Startr1", "rel_startr0", "rel_startr0"},
    {"Startr2", "rel_startr1", "rel_startr1"},
    {"Comsta1", "rel_comsta0", "rel_comsta0"},
    {"Comsta2", "rel_comsta1", "rel_comsta1"},
    {"GenEsys", "rel_gen_esys", "rel_gen_esys"},
    {"GenAvio", "rel_gen_avio", nullptr},
    {"Genera1", "rel_genera0", "rel_genera0"},
    {"Genera2", "rel_genera1", "rel_genera1"},
    {"Batter1", "rel_batter0", "rel_batter0"},
    {"Batter2", "rel_batter1", "rel_batter1"},
    {"Invert1", "rel_invert0", "rel_invert0"},
    {"Invert2", "rel_invert1", "rel_invert1"},
    {"Otto", "rel_otto", "rel_otto"},
    {"ServoRudd", "rel_servo_rudd", "rel_servo_rudd"},
    {"AutoRunaway", "rel_auto_runaway", "rel_auto_runaway"},
    {"ServoThro", "rel_servo_thro", "rel_servo_thro"},
    {"FlapAct", "rel_flap_act", "rel_flap_act"},
    {"FcSlt", "rel_fc_slt", "rel_fc_slt"},
    {"FcRudL", "rel_fc_rud_L", "rel_rud_L"},
    {"FcRudR", "rel_fc_rud_R", "rel_rud_R"},
    {"FcAilL", "rel_fc_ail_L", "rel_ail_L"},
    {"FcAilR", "rel_fc_ail_R", "rel_ail_R"},
    {"FcElvU", "rel_fc_elv_U", "rel_elv_U"},
    {"FcElvD", "rel_fc_elv_D", "rel_elv_D"},
    {"TrimRud", "rel_trim_rud", "rel_trim_rud"},
    {"TrimAil", "rel_trim_ail", "rel_trim_ail"},
    {"TrimElv", "rel_trim_elv", "rel_trim_elv"},
    {"GearAct", "rel_gear_act", "rel_gear_act"},
    {"GearInd", "rel_gear_ind", "rel_gear_ind"},
    {"Lagear1", "rel_lagear1", "rel_lagear1"},
    {"Lagear2", "rel_lagear2", "rel_lagear2"},
    {"Lagear3", "rel_lagear3", "rel_lagear3"},
    {"Lbrakes", "rel_lbrakes", "rel_lbrakes"},
    {"Rbrakes", "rel_rbrakes", "rel_rbrakes"},
    {"IcePitotHeat1", "rel_ice_pitot_heat1", "rel_ice_pitot_heat1"},
    {"IcePitotHeat2", "rel_ice_pitot_heat2", "rel_ice_pitot_heat2"},
    {"Antice", "rel_antice", "rel_antice"},
    {"IceSurfHeat1", "rel_ice_surf_heat", "rel_ice_surf_heat"},
    {"IceSurfHeat2", "rel_ice_surf_heat2", "rel_ice_surf_heat2"},
    {"LitesNav", "rel_lites_nav", "rel_lites_nav"},
    {"LitesStrobe", "rel_lites_strobe", "rel_lites_strobe"},
    {"LitesBeac", "rel_lites_beac", "rel_lites_beac"},
    {"LitesLand", "rel_lites_land", "rel_lites_land"},
    {"LitesTaxi", "rel_lites_taxi", "rel_lites_taxi"},
    {"BirdStrike", "rel_bird_strike", "rel_bird_strike"},
    {"WindShear", "rel_wind_shear", "rel_wind_shear"},
    {"SmokeCpit", "rel_smoke_cpit", "rel_smoke_cpit"},
    {"Conlock", "rel_conlock", "rel_conlock"},
};

const QString kFolder = QStringLiteral("sim/operation/failures/");

} // namespace

bool XPlaneFailureTable::isFailureKey(const QString &name)
{
    return name.startsWith(QLatin1String(kKeyPrefix));
}

QString XPlaneFailureTable::dataref(const QString &key, int xplaneVersion)
{
    if (!isFailureKey(key))
        return {};
    const QStringView suffix = QStringView(key).mid(int(sizeof kKeyPrefix) - 1);
    for (const Row &row : kRows) {
        if (suffix != QLatin1String(row.key))
            continue;
        const char *name = xplaneVersion > 11 ? row.xp12 : row.xp11;
        return name ? kFolder + QLatin1String(name) : QString();
    }
    return {};
}

QStringList XPlaneFailureTable::keys()
{
    QStringList out;
    for (const Row &row : kRows)
        out << QLatin1String(kKeyPrefix) + QLatin1String(row.key);
    return out;
}
