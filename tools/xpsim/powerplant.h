#pragma once

#include <array>

// The two engines of the demo aircraft (free-turbine turboprops of the PT6 class) and the fuel
// system that feeds them. The pilot sets one throttle for both; a client may hold one engine's
// throttle for a while (kThrottleHoldS after its last write). Failures stop an engine; a fire
// also shows as a fire until repaired.
//
// Owned by FlightModel (single-threaded). Units: throttle ratio 0..1, N1 in percent, EGT (the
// turbine temperature) in degrees Celsius, fuel flow in kg/s, propeller rpm, fuel in kg.
// Tanks: 0 left wing, 1 right wing, 2 centre; tanks 3..8 exist with zero capacity, as X-Plane
// reports nine. Each engine burns from the centre tank first, then its own wing tank, then the
// other one; an engine with no fuel left stops.
class Powerplant
{
public:
    static constexpr int kEngineCount = 2;
    static constexpr int kTankCount = 9;
    static constexpr double kThrottleHoldS = 10.0;
    static constexpr double kCapacityKg = 1630.0;

    enum class Failure { PowerLoss = 1, Flameout = 2, Fire = 4 };

    Powerplant();

    void advance(double dtS, bool onGround, double oatC);

    void setPilotThrottle(double ratio);
    void holdThrottle(int engine, double ratio);
    double throttle(int engine) const;

    double n1Pct(int engine) const { return engineAt(engine).n1Pct; }
    double egtC(int engine) const { return engineAt(engine).egtC; }
    double fuelFlowKgS(int engine) const { return engineAt(engine).fuelFlowKgS; }
    double rpm(int engine) const { return engineAt(engine).rpm; }
    bool running(int engine) const;
    bool onFire(int engine) const;

    // Thrust now, as a fraction of both engines at full power (0..1).
    double thrustRatio() const;
    // The same at idle and at full throttle, counting only the engines that run.
    double idleThrustRatio() const;
    double availableThrustRatio() const;

    void setFailure(int engine, Failure failure, bool failed);
    bool hasFailure(int engine, Failure failure) const;
    void repairAll();

    double fuelKg(int tank) const;
    double tankRatio(int tank) const;
    double tankCapacityKg(int tank) const { return kCapacityKg * tankRatio(tank); }
    double totalFuelKg() const;
    // Clamped to 0..the tank's capacity; false for an unknown tank.
    bool setFuelKg(int tank, double kg);
    void fillTo(double fraction);
    // While frozen, the engines burn nothing (an instructor's "fuel freeze").
    void setFuelFrozen(bool frozen) { m_fuelFrozen = frozen; }
    bool fuelFrozen() const { return m_fuelFrozen; }

private:
    struct Engine
    {
        double n1Pct = 0.0;
        double egtC = 15.0;
        double fuelFlowKgS = 0.0;
        double rpm = 0.0;
        double heldThrottle = 0.0;
        double holdLeftS = 0.0;
        int failures = 0;
        bool starved = false;
    };

    const Engine &engineAt(int engine) const;
    void advanceEngine(int index, double dtS, bool onGround, double oatC);
    void burn(int engine, double kg);

    std::array<Engine, kEngineCount> m_engines;
    std::array<double, kTankCount> m_fuelKg{};
    double m_pilotThrottle = 0.0;
    bool m_fuelFrozen = false;
};
