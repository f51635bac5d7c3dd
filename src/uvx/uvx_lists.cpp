#include "uvx/uvx_lists.h"

#include <cstring>

std::string AUVXSourceItem::Name() const { return name; }

void AUVXSourceItem::SetName(const std::string& text) {
  std::memset(name, 0, sizeof name);
  std::strncpy(name, text.c_str(), sizeof name - 1);
}

int AUVXSources::Load(const AUVXTable& t) {
  SetSize(0);
  const int c_id = t.FindColumn("ID. NO.");
  const int c_name = t.FindColumn("SOURCE");
  if (c_id < 0 || c_name < 0) return 0;
  const int c_ra = t.FindColumn("RAEPO"), c_dec = t.FindColumn("DECEPO"), c_ep = t.FindColumn("EPOCH");
  const int c_raa = t.FindColumn("RAAPP"), c_deca = t.FindColumn("DECAPP"), c_bw = t.FindColumn("BANDWIDTH");
  for (int r = 0; r < t.n_rows; ++r) {
    AUVXSourceItem s;
    s.id = t.GetInt(r, c_id);
    s.SetName(t.GetChars(r, c_name));
    s.ra_epo_deg = t.GetNumber(r, c_ra);
    s.dec_epo_deg = t.GetNumber(r, c_dec);
    s.epoch = t.GetNumber(r, c_ep);
    s.ra_app_deg = t.GetNumber(r, c_raa);
    s.dec_app_deg = t.GetNumber(r, c_deca);
    s.bandwidth_hz = t.GetNumber(r, c_bw);
    Add(s);
  }
  return 1;
}

int AUVXAntenns::Load(const AUVXTable& t) {
  SetSize(0);
  const int c_name = t.FindColumn("ANNAME");
  const int c_no = t.FindColumn("NOSTA");
  if (c_name < 0 || c_no < 0) return 0;
  const int c_xyz = t.FindColumn("STABXYZ"), c_mnt = t.FindColumn("MNTSTA");
  for (int r = 0; r < t.n_rows; ++r) {
    AUVXTlscItem a;
    const std::string name = t.GetChars(r, c_name);
    std::strncpy(a.name, name.c_str(), sizeof a.name - 1);
    a.number = int(t.GetNumber(r, c_no));
    a.mount = int(t.GetNumber(r, c_mnt));
    a.x = t.GetNumber(r, c_xyz, 0);
    a.y = t.GetNumber(r, c_xyz, 1);
    a.z = t.GetNumber(r, c_xyz, 2);
    Add(a);
  }
  return 1;
}

const AUVXTlscItem* AUVXAntenns::FindNumber(int number) const {
  for (int i = 0; i < GetSize(); ++i)
    if ((*this)[i].number == number) return &(*this)[i];
  return nullptr;
}

AUVXBaseLines::AUVXBaseLines(int size, int grow_by) : AArray<AUVXBaseLineItem>(size) {
  if (grow_by > 0) growBy = grow_by;
  count = 0;
}

int AUVXBaseLines::Find(std::uint8_t tel1, std::uint8_t tel2) const {
  for (int i = 0; i < GetSize(); ++i)
    if ((*this)[i].tel1 == tel1 && (*this)[i].tel2 == tel2) return i;
  return -1;
}

std::uint16_t AUVXBaseLines::checkBase(AUVXBaseLineItem& item) {
  const unsigned key = item.Number();
  const unsigned bit = 1u << (key % 32);
  int& word = lookup_[key / 32];
  if (word & int(bit)) {
    const int i = Find(item.tel1, item.tel2);
    if (i >= 0) ++(*this)[i].groups;
  } else {
    word |= int(bit);
    AUVXBaseLineItem copy = item;
    copy.groups = 1;
    Add(copy);
  }
  return item.Number();
}

AUVXTable* AUVXBaseLines::ToUVXTable() const {
  auto* t = new AUVXTable("BL", AUVXTable::toHash("BL", 0));
  const int c_bl = t->AddColumn("BASELINE", "", "1J");
  const int c_a1 = t->AddColumn("ANTENNA1", "", "1J");
  const int c_a2 = t->AddColumn("ANTENNA2", "", "1J");
  const int c_n = t->AddColumn("NGROUPS", "", "1J");
  for (int i = 0; i < GetSize(); ++i) {
    const AUVXBaseLineItem& b = (*this)[i];
    const int r = t->AddRow();
    t->SetInt(r, c_bl, b.Number());
    t->SetInt(r, c_a1, b.tel1);
    t->SetInt(r, c_a2, b.tel2);
    t->SetInt(r, c_n, b.groups);
  }
  t->AddKeywordInt("NO_BASE", GetSize());
  return t;
}

int AUVXBaseLines::Load(const AUVXTable& t) {
  SetSize(0);
  std::memset(lookup_, 0, sizeof lookup_);
  const int c_a1 = t.FindColumn("ANTENNA1"), c_a2 = t.FindColumn("ANTENNA2"), c_n = t.FindColumn("NGROUPS");
  if (c_a1 < 0 || c_a2 < 0) return 0;
  for (int r = 0; r < t.n_rows; ++r) {
    AUVXBaseLineItem b;
    b.tel1 = std::uint8_t(t.GetInt(r, c_a1));
    b.tel2 = std::uint8_t(t.GetInt(r, c_a2));
    b.groups = c_n >= 0 ? t.GetInt(r, c_n) : 0;
    lookup_[b.Number() / 32] |= int(1u << (b.Number() % 32));
    Add(b);
  }
  return 1;
}

void AUVXPosition::CheckUVGroup(const AUVXGroup& group, int index) {
  const int n = items_.GetSize();
  if (n > 0) {
    Item& last = items_[n - 1];
    if (last.time == group.time && last.first + last.count == index) {
      ++last.count;
      return;
    }
  }
  items_.Add(Item{group.time, index, 1});
}

AUVXTable* AUVXPosition::ToUVXTable() const {
  auto* t = new AUVXTable("PS", AUVXTable::toHash("PS", 0));
  const int c_t = t->AddColumn("TIME", "SECONDS", "1D");
  const int c_f = t->AddColumn("FIRST", "", "1J");
  const int c_n = t->AddColumn("NGROUPS", "", "1J");
  for (int i = 0; i < items_.GetSize(); ++i) {
    const int r = t->AddRow();
    t->SetDouble(r, c_t, items_[i].time);
    t->SetInt(r, c_f, items_[i].first);
    t->SetInt(r, c_n, items_[i].count);
  }
  t->AddKeywordReal("STARTTIM", start_time_);
  return t;
}

int AUVXPosition::Load(const AUVXTable& t) {
  items_.SetSize(0);
  const int c_t = t.FindColumn("TIME"), c_f = t.FindColumn("FIRST"), c_n = t.FindColumn("NGROUPS");
  if (c_t < 0 || c_f < 0 || c_n < 0) return 0;
  for (int r = 0; r < t.n_rows; ++r) items_.Add(Item{t.GetDouble(r, c_t), t.GetInt(r, c_f), t.GetInt(r, c_n)});
  const AUVXKeyword* k = t.FindKeyword("STARTTIM");
  start_time_ = k ? k->AsReal() : 0.0;
  return 1;
}
