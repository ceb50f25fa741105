#include "game/modular/Families.hpp"

namespace game::modular {

template class Module<GameInitTable>;
template class Module<GameModTable>;
template class Module<ServerModTable>;
template class Module<OrkalinModTable>;

} // namespace game::modular
