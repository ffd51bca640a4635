#pragma once

#include <mujoco/mujoco.h>

#include <cstddef>
#include <vector>

#include "qor/Constraint1DOF.h"
#include "qor/ElementaryConstraint.h"
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
class ControllerSolver {
  public:
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
    void addController(mjData* d, qor::ElementaryConstraint& controller, int dof,
                       double targetSpeed);

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
};

}  // namespace qorSDK::detail
