#include "observation/tlsc_item.h"

#include <algorithm>

AMTlscItem::AMTlscItem(const AMTlscInfoItem& info)
    : name(info.name), id_name(info.id_name), kind(info.ground ? kTlscGround : kTlscOrbital) {
  std::copy(std::begin(info.params), std::end(info.params), std::begin(params));
}
