#pragma once

#include <mujoco/mujoco.h>

#include <cstddef>
#include <vector>

#include "qor/Constraint1DOF.h"
#include "qor/ElementaryConstraint.h"
#include "qor/Range.h"
#include "qor/ref_ptr.h"

namespace qorSDK::detail {

// Computes the forces of the locks and motors of a simulation's constraints for one step and
// hands them to MuJoCo as applied generalised forces.
//
// Every enabled controller is a velocity target with a force box: a motor wants its target speed
// at the end of the step, a lock the speed (target - q) / dt that lands the joint on its target.
// With semi-implicit Euler the velocity at the end of the step is v + dt * R * (f_free + f),
// where R is the inverse of the inertia matrix (of M + dt * damping when MuJoCo integrates joint
// damping implicitly), so all targets are met together by projected Gauss-Seidel on the block of
// R that the controlled degrees of freedom select. After each sweep the rows that are off their
// bounds are solved exactly (Cholesky on their block, the others held at their bounds); once that
// answer respects every bound it is the solution, to rounding. Gauss-Seidel alone converges
// slowly on the strongly coupled block of an arm (hundreds of sweeps from a cold start), while
// its first sweeps find which rows saturate. A controller whose range is a single value f
// applies exactly f and is not iterated. Contacts and joint limits are left to MuJoCo's own
// constraint solver, which runs after this one.
//
// Nothing that is not finite reaches MuJoCo from here: an enabled controller whose range has a
// NaN bound or is an infinite (f, f), or whose target is NaN or infinite while its range is not a
// single value, is left out (its joint is free of it). A finite target too far away to reach within
// MuJoCo's largest sane speed pushes at the bound of its range in its direction.
class ControllerSolver {
  public:
    // What made a controller unusable.
    enum class Fault { NONE, TARGET_POSITION, TARGET_SPEED, FORCE_RANGE };

    // A controller that was left out of the solve in this step and not in the last, or the
    // other way round.
    struct LeftOutChange {
        int dof;
        bool isLock;
        Fault fault;  // NONE when the controller came back
        double target;
        qor::Range<double> range;
    };

    // Makes room for the controllers of the given number of constraints on model m, so that
    // apply() allocates nothing.
    void reserve(const mjModel* m, std::size_t constraints);

    // To be called between mj_step1 and mj_step2: zeroes qfrc_applied, adds to it the force of
    // every enabled controller of the constraints (all bound to d's joints) and records each
    // controller's force. Nothing else in d changes (actuator forces are recomputed, to the
    // values mj_step2 computes anyway).
    void apply(const mjModel* m, mjData* d,
               const std::vector<qor::ref_ptr<qor::Constraint1DOF>>& constraints);

    // Returns the number of Gauss-Seidel sweeps the last apply() made; 0 when nothing was
    // iterated.
    int getLastSweeps() const noexcept { return m_lastSweeps; }

    // Returns the controllers that the last apply() left out, or took back, anew.
    const std::vector<LeftOutChange>& getLeftOutChanges() const noexcept { return m_changes; }

    // Returns the degree of freedom that received the largest force MuJoCo calls huge (beyond
    // mjMAXVAL, or not finite) in the last apply(), or -1 when none did: the joint that a reset
    // for a bad acceleration in this step is due to.
    int getHugeForceDof() const noexcept { return m_hugeForceDof; }

  private:
    // A controller that the solve iterates.
    struct Row {
        qor::ElementaryConstraint* controller;
        int dof;
        double lower;
        double upper;
        double targetSpeed;
        double force;
    };

    // Adds the controller's fixed force to qfrc_applied or appends it as a row; records 0 for a
    // controller that applies nothing.
    // target is the lock's position or the motor's speed; targetSpeed is what the row asks for.
    void addController(mjData* d, qor::ElementaryConstraint& controller, int dof, bool isLock,
                       double target, double targetSpeed);

    // Returns what makes an enabled controller unusable, and records a change of that state.
    Fault checkUsable(qor::ElementaryConstraint& controller, int dof, bool isLock, double target,
                      qor::Range<double> range);

    // Finds the degree of freedom with the largest huge applied force, for getHugeForceDof().
    void findHugeForce(const mjModel* m, const mjData* d);

    // Computes the response block and the free accelerations, then iterates the rows.
    void solveRows(const mjModel* m, mjData* d);

    // Runs one projected Gauss-Seidel sweep over the rows; returns the largest change of
    // acceleration it made.
    double sweep();

    // Solves the rows that are off their bounds exactly, the others held where they are. Keeps
    // the answer and returns true when it is a solution of the whole problem: every row within
    // its bounds, every row at a bound pushing against it. Changes nothing otherwise.
    bool polish(double tolerance);

    // Fills m_freeAcceleration and m_columns with R applied to the free force and to the unit
    // vectors of the rows' degrees of freedom.
    void computeResponse(const mjModel* m, mjData* d);

    std::vector<Row> m_rows;
    std::vector<double> m_freeForce;         // nv
    std::vector<double> m_freeAcceleration;  // nv
    std::vector<double> m_units;             // rows x nv
    std::vector<double> m_columns;           // rows x nv
    std::vector<double> m_response;          // rows x rows
    std::vector<double> m_wanted;            // rows: the acceleration each row asks for
    std::vector<std::size_t> m_free;         // the rows off their bounds, for polish()
    std::vector<std::size_t> m_slot;         // rows: position in m_free, or kAtBound
    std::vector<double> m_system;            // free x free: their block, then its Cholesky factor
    std::vector<double> m_solution;          // free
    // With implicit damping: the factorisation of M, kept while that of M + dt * damping is used.
    bool m_implicitDamping = false;
    std::vector<double> m_savedDiagonal;  // nv
    std::vector<double> m_savedFactor;    // nM + 2 nv
    int m_lastSweeps = 0;
    std::vector<LeftOutChange> m_changes;
    int m_hugeForceDof = -1;
};

}  // namespace qorSDK::detail
