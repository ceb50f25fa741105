#include "game/Game.hpp"

std::string Game::_current_world;

std::unordered_map<game::entity::EnvironmentId, game::EnvironmentFunction> Game::_environmentFunctions;
std::vector<Game::PhysicsLineDebug> Game::physicsDebugLines_back, Game::physicsDebugLines_staging,
    Game::physicsDebugLines_front;
std::vector<Game::PhysicsColliderDebug> Game::physicsDebugColliders_back, Game::physicsDebugColliders_staging,
    Game::physicsDebugColliders_front;
std::atomic<bool> Game::physicsDebugCollidersUpdated{false};
std::mutex Game::physicsDebugMutex;
bool Game::debugServerSidePhysics = false;
bool Game::debugClientSidePhysics = false;
double Game::serverSidePhysicsAvgTime = 0.0;
